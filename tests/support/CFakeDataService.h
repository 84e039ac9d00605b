// A data service that hands out streams, and misbehaves as a test says.
//
//   CFakeDataService service;
//   service.createStream = [&](const std::wstring& uri, IStream** stream) { return source.CopyTo(stream); };
//   const CRegisteredComClass registered(CLSID_TKDSUriAccessFactory, service.Creator());
//
// Each function below replaces one call; it may fail, throw, or succeed and give nothing. Where there is none, the call
// does what a healthy service does (createStream: E_NOTIMPL).
//
// Threads: called on any thread; set the functions before that.  Lifetime: the test's; LiveObjects tells how many of
// its objects are referred to, the factory included.
#pragma once

#include "tests/support/CTestObject.h"

#include <oleauto.h>
#include <wrl/client.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "TKDataServices.h"

class CFakeDataService final : public CTestObject<ITKDSUriAccessFactory> {
public:
    std::function<HRESULT(const std::wstring& uri, IStream** stream)> createStream;
    std::function<HRESULT(VARIANT* accessor)> openUriAs;
    bool isReadable = true;  // whether the accessor answers the interface for reading, and for writing
    bool isWritable = true;

    struct Call {
        std::wstring method;  // its name in the interface
        std::wstring uri;
        std::wstring accessorId;  // of OpenUriAs
        unsigned long access = 0, share = 0;

        bool operator==(const Call&) const = default;
    };

    // The service's one factory; and what makes it an instance for CRegisteredComClass under
    // CLSID_TKDSUriAccessFactory.
    [[nodiscard]] Microsoft::WRL::ComPtr<ITKDSUriAccessFactory> Factory() { return {this}; }
    [[nodiscard]] std::function<HRESULT(REFIID, void**)> Creator() {
        return [this](REFIID iid, void** object) { return QueryInterface(iid, object); };
    }
    // A healthy accessor, for openUriAs to hand out in its own way.
    [[nodiscard]] Microsoft::WRL::ComPtr<IUnknown> Accessor(const std::wstring& uri) {
        const std::lock_guard lock(m_mutex);
        m_accessors.push_back(std::make_unique<CAccessor>(*this, uri));
        return {static_cast<ITKDSCreateStream*>(m_accessors.back().get())};
    }

    [[nodiscard]] std::vector<Call> Calls() const {
        const std::lock_guard lock(m_mutex);
        return m_calls;
    }
    [[nodiscard]] long LiveObjects() const {
        const std::lock_guard lock(m_mutex);
        const auto isLive = [](const auto& accessor) { return accessor->References() > 0; };
        return static_cast<long>(std::ranges::count_if(m_accessors, isLive)) + (References() > 0);
    }

    // ITKDSUriAccessFactory
    STDMETHODIMP OpenUriAs(BSTR uri, BSTR accessorId, VARIANT* accessor) override {
        Record({L"OpenUriAs", TextOf(uri), TextOf(accessorId)});
        if (openUriAs)
            return openUriAs(accessor);
        accessor->vt = VT_UNKNOWN;
        accessor->punkVal = Accessor(TextOf(uri)).Detach();
        return S_OK;
    }

private:
    class CAccessor final : public CTestObject<ITKDSCreateStream, ITKDSCreateWritableStream> {
    public:
        CAccessor(CFakeDataService& service, std::wstring uri) : m_service(service), m_uri(std::move(uri)) {}

        STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
            *object = nullptr;
            if ((iid == __uuidof(ITKDSCreateStream) && !m_service.isReadable) ||
                (iid == __uuidof(ITKDSCreateWritableStream) && !m_service.isWritable))
                return E_NOINTERFACE;
            return CTestObject::QueryInterface(iid, object);
        }
        STDMETHODIMP CreateStreamEx2(TKDS_STREAM_CREATION, IStream**) override { return E_NOTIMPL; }
        STDMETHODIMP CreateStream(unsigned long access, unsigned long share, IStream** stream) override {
            return Give(L"CreateStream", access, share, stream);
        }
        STDMETHODIMP CreateWritableStreamEx2(TKDS_STREAM_CREATION, IStream**) override { return E_NOTIMPL; }
        STDMETHODIMP CreateWritableStream(unsigned long access, unsigned long share, IStream** stream) override {
            return Give(L"CreateWritableStream", access, share, stream);
        }

    private:
        HRESULT Give(const wchar_t* method, unsigned long access, unsigned long share, IStream** stream) {
            m_service.Record({method, m_uri, {}, access, share});
            return m_service.createStream ? m_service.createStream(m_uri, stream) : E_NOTIMPL;
        }

        CFakeDataService& m_service;
        const std::wstring m_uri;
    };

    static std::wstring TextOf(BSTR text) { return {text ? text : L"", ::SysStringLen(text)}; }
    void Record(Call call) {
        const std::lock_guard lock(m_mutex);
        m_calls.push_back(std::move(call));
    }

    mutable std::mutex m_mutex;  // guards what follows
    std::vector<Call> m_calls;
    std::vector<std::unique_ptr<CAccessor>> m_accessors;
};
