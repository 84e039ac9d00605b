// The MIME dictionary of a metadata library, "TvMetadata.dll": loaded by the constructor, unloaded by the destructor.
//
// Threads: one. Several objects may exist; the loader counts.  Errors: std::bad_alloc.
#pragma once

#include "diagnostics/CAutoDestructor.h"
#include "sdk/TvMetadata.h"

#include <string>
#include <vector>

class CMimeLibrary final {
public:
    // Looks in `folder` (with a backslash at its end, or empty) first, then in the folders of
    // the application and the system. A damaged library shows no message box.
    explicit CMimeLibrary(const std::wstring& folder);

    [[nodiscard]] bool IsLoaded() const noexcept { return static_cast<bool>(m_library); }

    // One of the library's exports, or null.
    template <class Function>
    [[nodiscard]] Function Export(const char* name) const noexcept {
        // By way of void*, because FARPROC and the real type have nothing in common that the compiler could check.
        return m_library ? reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(m_library.Get(), name)))
                         : nullptr;
    }

    // The library's dictionary: null where there is no library, no export, or no dictionary.
    [[nodiscard]] IMimeTypeDictionary* Dictionary() const;

private:
    CAutoLibrary m_library;
};

// The texts of a list, without those that the library leaves null, and the end of the list. None for a null list.
[[nodiscard]] std::vector<std::wstring> TakeTexts(IMimeTypeList* list);
