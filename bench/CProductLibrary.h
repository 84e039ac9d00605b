// A DLL of the product's that lies beside this program, loaded as COM loads it but without registration.
//
// Lifetime: its objects must be gone before it goes.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

#include <unknwn.h>
#include <wrl/client.h>

namespace bench {

class CProductLibrary final {
public:
    // Throws std::runtime_error when the DLL isn't there.
    explicit CProductLibrary(const wchar_t* name);

    // Throws std::runtime_error when the DLL has no such class.
    [[nodiscard]] Microsoft::WRL::ComPtr<IClassFactory> Factory(REFCLSID classId) const;

    // Keeps the DLL until the process ends, for threads that may still run in it when its last object has gone.
    void Keep() const;

private:
    base::CAutoLibrary m_library;
};

}  // namespace bench
