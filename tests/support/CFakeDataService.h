// A data service that hands out streams, and misbehaves as a test says. One object is the factory and its accessors.
//
// Each function below replaces one call; it may fail, throw, or succeed and give nothing. Where there is none, the call
// does what a healthy service does (createStream: E_NOTIMPL).
//
// Threads: any, one at a time.  Lifetime: the test's.
#pragma once

#include "tests/support/CTestObject.h"

#include <oleauto.h>

#include <functional>
#include <string>
#include <vector>

#include "TKDataServices.h"

class CFakeDataService final : public CTestObject<ITKDSUriAccessFactory, ITKDSCreateStream, ITKDSCreateWritableStream> {
public:
    std::function<HRESULT(const std::wstring& uri, IStream** stream)> createStream;
    std::function<HRESULT(VARIANT* accessor)> openUriAs;

    struct Call {
        std::wstring method;      // its name in the interface
        std::wstring uri;         // CreateStream, CreateWritableStream: the one opened last
        std::wstring accessorId;  // of OpenUriAs
        unsigned long access = 0, share = 0;

        bool operator==(const Call&) const = default;
    };

    // What makes it an instance for CRegisteredComClass under CLSID_TKDSUriAccessFactory.
    [[nodiscard]] std::function<HRESULT(REFIID, void**)> Creator() {
        return [this](REFIID iid, void** object) { return QueryInterface(iid, object); };
    }
    [[nodiscard]] const std::vector<Call>& Calls() const { return m_calls; }
    [[nodiscard]] long LiveObjects() const { return static_cast<long>(References()); }

    // ITKDSUriAccessFactory
    STDMETHODIMP OpenUriAs(BSTR uri, BSTR accessorId, VARIANT* accessor) override {
        m_calls.push_back({L"OpenUriAs", TextOf(uri), TextOf(accessorId)});
        if (openUriAs)
            return openUriAs(accessor);
        accessor->vt = VT_UNKNOWN;
        return QueryInterface(IID_PPV_ARGS(&accessor->punkVal));
    }

    // ITKDSCreateStream
    STDMETHODIMP CreateStreamEx2(TKDS_STREAM_CREATION, IStream**) override { return E_NOTIMPL; }
    STDMETHODIMP CreateStream(unsigned long access, unsigned long share, IStream** stream) override {
        return Give(L"CreateStream", access, share, stream);
    }

    // ITKDSCreateWritableStream
    STDMETHODIMP CreateWritableStreamEx2(TKDS_STREAM_CREATION, IStream**) override { return E_NOTIMPL; }
    STDMETHODIMP CreateWritableStream(unsigned long access, unsigned long share, IStream** stream) override {
        return Give(L"CreateWritableStream", access, share, stream);
    }

private:
    static std::wstring TextOf(BSTR text) { return {text ? text : L"", ::SysStringLen(text)}; }
    HRESULT Give(const wchar_t* method, unsigned long access, unsigned long share, IStream** stream) {
        const std::wstring uri = m_calls.back().uri;
        m_calls.push_back({method, uri, {}, access, share});
        return createStream ? createStream(uri, stream) : E_NOTIMPL;
    }

    std::vector<Call> m_calls;
};
