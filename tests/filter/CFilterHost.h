// The filter as a foreign host has it: the DLL, its exports, and from there COM interfaces alone.
//
//   const CTestApartment apartment(COINIT_MULTITHREADED);
//   CFilterHost host;
//   ASSERT_EQ(S_OK, host.Create());
//   EXPECT_EQ(S_OK, host.As<IFileSourceFilter>()->Load(file.Path().c_str(), nullptr));
//   EXPECT_EQ(S_OK, host.Reader()->SyncRead(0, 4, buffer));
//
// Threads: as the interfaces allow; Create and Release on the thread of the test, which is in an apartment.
// Lifetime: the destructor releases the filter and unloads the DLL, so pointers taken from here must be gone by then.
#pragma once

#include <windows.h>

#include <TvFileSourceAsync.h>
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

    // The DLL's exports. Null and E_HANDLE when the DLL couldn't be loaded.
    [[nodiscard]] HMODULE Module() const noexcept { return m_module; }
    [[nodiscard]] HRESULT GetClassObject(REFCLSID clsid, REFIID iid, void** object) const;
    [[nodiscard]] HRESULT CanUnloadNow() const;
    [[nodiscard]] Microsoft::WRL::ComPtr<IClassFactory> Factory() const;

    // Makes the filter in place of the one before.
    [[nodiscard]] HRESULT Create(IUnknown* outer = nullptr);
    // Lets go of the filter. The result is the count of references that others still have.
    ULONG Release();

    // The object's own IUnknown: the inner one when it is aggregated.
    [[nodiscard]] IUnknown* Unknown() const noexcept { return m_filter.Get(); }

    // An interface of the filter; a failed test and null when there is none.
    template <class Interface>
    [[nodiscard]] Microsoft::WRL::ComPtr<Interface> As() const {
        return Query<Interface>(m_filter.Get());
    }

    // The pin "Output", by FindPin, and its faces.
    [[nodiscard]] Microsoft::WRL::ComPtr<IPin> Pin() const;
    [[nodiscard]] Microsoft::WRL::ComPtr<IAsyncReader> Reader() const { return Query<IAsyncReader>(Pin().Get()); }
    [[nodiscard]] Microsoft::WRL::ComPtr<IStream> PinStream() const { return Query<IStream>(Pin().Get()); }

    // What GetCurFile tells: the name, or nothing when it fails.
    [[nodiscard]] std::wstring CurrentName() const;

private:
    template <class Interface>
    static Microsoft::WRL::ComPtr<Interface> Query(IUnknown* object) {
        Microsoft::WRL::ComPtr<Interface> found;
        if (object) {
            EXPECT_EQ(S_OK, object->QueryInterface(IID_PPV_ARGS(&found)));
        }
        EXPECT_TRUE(found);
        return found;
    }

    const HMODULE m_module;
    Microsoft::WRL::ComPtr<IUnknown> m_filter;
};
