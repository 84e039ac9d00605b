// TvFileSourceAsync.dll beside this program.
//
// Lifetime: its objects must be gone before it goes.
#pragma once

#include "bench/CProductLibrary.h"

namespace bench {

class CFilterLibrary final {
public:
    // Throws std::runtime_error when the DLL isn't there or has no class of ours.
    CFilterLibrary();

    [[nodiscard]] IClassFactory& Factory() const noexcept { return *m_factory.Get(); }

private:
    const CProductLibrary m_library{L"TvFileSourceAsync.dll"};
    const Microsoft::WRL::ComPtr<IClassFactory> m_factory;
};

// The platform's own file source.  Throws std::runtime_error.
[[nodiscard]] Microsoft::WRL::ComPtr<IClassFactory> StockFactory();

}  // namespace bench
