// TvFileSourceAsync.dll beside this program, loaded as COM loads it but without its being registered.
//
// Lifetime: its objects must be gone before it goes.
#pragma once

#include "diagnostics/CAutoDestructor.h"

#include <windows.h>

#include <unknwn.h>
#include <wrl/client.h>

class CFilterLibrary final {
public:
    // Throws std::runtime_error when the DLL isn't there or has no class of ours.
    CFilterLibrary();

    [[nodiscard]] IClassFactory& Factory() const noexcept { return *m_factory.Get(); }

private:
    CAutoLibrary m_library;
    Microsoft::WRL::ComPtr<IClassFactory> m_factory;
};

// The platform's own file source.  Throws std::runtime_error.
[[nodiscard]] Microsoft::WRL::ComPtr<IClassFactory> StockFactory();
