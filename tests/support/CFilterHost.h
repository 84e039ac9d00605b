// The filter as a foreign host has it: the DLL, its exports, and from there COM interfaces alone.
//
// Threads: as the interfaces allow.
// Lifetime: the destructor releases the filter and unloads the DLL, so pointers taken from here must be gone by then.
#pragma once

#include "TvFileSourceAsync.h"

#include <windows.h>

#include <objbase.h>
#include <strmif.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <string>

// The DLL of this build.
[[nodiscard]] std::wstring FilterDllPath();

class CFilterHost final {
public:
    explicit CFilterHost(const std::wstring& dllPath = FilterDllPath());
    CFilterHost(const CFilterHost&) = delete;
    CFilterHost& operator=(const CFilterHost&) = delete;
    ~CFilterHost();

    [[nodiscard]] HMODULE Module() const noexcept { return m_module; }
    // One of the DLL's exports that take no argument.
    [[nodiscard]] HRESULT Call(const char* name) const;

    // Makes the filter in place of the one before, aggregated if there is an outer object, and lets the data flow.
    void Create(IUnknown* outer = nullptr);
    // Lets go of the filter. The result is the count of references that others still have.
    ULONG Release();

    [[nodiscard]] HRESULT Load(const std::wstring& name, const AM_MEDIA_TYPE* type = nullptr) const {
        return As<IFileSourceFilter>()->Load(name.c_str(), type);
    }
    [[nodiscard]] HRESULT Open(IStream* stream, const AM_MEDIA_TYPE* type = nullptr) const {
        return As<ITavelIStreamFileSource>()->OpenStream(stream, type);
    }
    // What GetCurFile tells: the name, empty when it fails, and the type as a letter of Offers.
    [[nodiscard]] std::wstring CurrentName() const;
    [[nodiscard]] char CurrentType() const;
    // What the pin offers, in order: a letter for each subtype of MEDIATYPE_Stream (see the source), '!' for the pair
    // of nulls, '?' for everything else.
    [[nodiscard]] std::string Offers() const;

    // An interface of the filter; a failed test and null when there is none.
    template <class Interface>
    [[nodiscard]] Microsoft::WRL::ComPtr<Interface> As() const {
        return Query<Interface>(m_filter.Get());
    }
    // The pin "Output".
    [[nodiscard]] Microsoft::WRL::ComPtr<IPin> Pin() const;
    [[nodiscard]] Microsoft::WRL::ComPtr<IAsyncReader> Reader() const { return Query<IAsyncReader>(Pin().Get()); }

private:
    template <class Interface>
    static Microsoft::WRL::ComPtr<Interface> Query(IUnknown* object) {
        Microsoft::WRL::ComPtr<Interface> found;
        EXPECT_TRUE(object && object->QueryInterface(IID_PPV_ARGS(&found)) == S_OK);
        return found;
    }

    const HMODULE m_module;
    Microsoft::WRL::ComPtr<IUnknown> m_filter;
};
