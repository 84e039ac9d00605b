// Registers the type library of the logger's interfaces for this program's bitness while it lives, so that COM can
// marshal them between processes.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <gtest/gtest.h>

#include <wrl/client.h>

#include <filesystem>

class CTypeLibrary final {
public:
    CTypeLibrary() {
        const auto path = std::filesystem::absolute(TV_TYPELIB_DIR).make_preferred().wstring() +
                          (sizeof(void*) == 8 ? L"\\TKRuntimeLogger64.tlb" : L"\\TKRuntimeLogger32.tlb");
        Microsoft::WRL::ComPtr<ITypeLib> library;
        TLIBATTR* attributes = nullptr;
        EXPECT_EQ(S_OK, ::LoadTypeLibEx(path.c_str(), REGKIND_REGISTER, &library));
        if (library && SUCCEEDED(library->GetLibAttr(&attributes))) {
            m_attributes = *attributes;
            library->ReleaseTLibAttr(attributes);
        }
    }
    CTypeLibrary(const CTypeLibrary&) = delete;
    CTypeLibrary& operator=(const CTypeLibrary&) = delete;
    ~CTypeLibrary() {
        const auto& [guid, locale, kind, major, minor, flags] = m_attributes;
        ::UnRegisterTypeLib(guid, major, minor, locale, kind);
    }

private:
    TLIBATTR m_attributes{};
};
