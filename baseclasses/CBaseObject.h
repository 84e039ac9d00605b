// Counts the live objects of the module, so that it isn't unloaded while one of them is in use.
//
// Threads: any.  Errors: none.
#pragma once

#include <windows.h>

class CBaseObject {
public:
    // `name` says to the reader of the code which object this is; it isn't kept and may be null.
    explicit CBaseObject(const wchar_t* name) noexcept;
    CBaseObject(const CBaseObject&) = delete;
    CBaseObject& operator=(const CBaseObject&) = delete;

    // How many objects of this module are alive.
    [[nodiscard]] static LONG ObjectsActive() noexcept;

protected:
    ~CBaseObject();
};
