#include "tests/support/CFakeDataService.h"

#include <utility>

using Microsoft::WRL::ComPtr;

namespace {

[[nodiscard]] std::wstring TextOf(BSTR text) {
    return {text ? text : L"", ::SysStringLen(text)};
}

}  // namespace

// The count of an object, and its part in the service's count.
template <class... Interfaces>
class CFakeDataService::CCounted : public Interfaces... {
public:
    explicit CCounted(CFakeDataService& service) : m_service(service) { ++m_service.m_liveObjects; }

    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    virtual ~CCounted() { --m_service.m_liveObjects; }

    CFakeDataService& m_service;

private:
    std::atomic<ULONG> m_references{1};
};

class CFakeDataService::CFactory final : public CCounted<ITKDSUriAccessFactory> {
public:
    using CCounted::CCounted;

    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        const bool isAnswered = iid == __uuidof(IUnknown) || iid == __uuidof(ITKDSUriAccessFactory);
        *object = isAnswered ? this : nullptr;
        if (!isAnswered)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    STDMETHODIMP OpenUriAs(BSTR uri, BSTR accessorId, VARIANT* accessor) override {
        m_service.Record({L"OpenUriAs", TextOf(uri), TextOf(accessorId)});
        if (m_service.openUriAs)
            return m_service.openUriAs(accessor);
        accessor->vt = VT_UNKNOWN;
        accessor->punkVal = m_service.Accessor(TextOf(uri)).Detach();
        return S_OK;
    }
};

class CFakeDataService::CAccessor final : public CCounted<ITKDSCreateStream, ITKDSCreateWritableStream> {
public:
    CAccessor(CFakeDataService& service, std::wstring uri) : CCounted(service), m_uri(std::move(uri)) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        *object = nullptr;
        if (iid == __uuidof(IUnknown) || (iid == __uuidof(ITKDSCreateStream) && m_service.isReadable))
            *object = static_cast<ITKDSCreateStream*>(this);
        else if (iid == __uuidof(ITKDSCreateWritableStream) && m_service.isWritable)
            *object = static_cast<ITKDSCreateWritableStream*>(this);
        else
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    STDMETHODIMP CreateStreamEx2(TKDS_STREAM_CREATION, IStream** stream) override {
        return Give(L"CreateStreamEx2", 0, 0, stream);
    }
    STDMETHODIMP CreateStream(unsigned long access, unsigned long share, IStream** stream) override {
        return Give(L"CreateStream", access, share, stream);
    }
    STDMETHODIMP CreateWritableStreamEx2(TKDS_STREAM_CREATION, IStream** stream) override {
        return Give(L"CreateWritableStreamEx2", 0, 0, stream);
    }
    STDMETHODIMP CreateWritableStream(unsigned long access, unsigned long share, IStream** stream) override {
        return Give(L"CreateWritableStream", access, share, stream);
    }

private:
    HRESULT Give(const wchar_t* method, unsigned long access, unsigned long share, IStream** stream) {
        m_service.Record({method, m_uri, {}, access, share});
        return m_service.createStream ? m_service.createStream(m_uri, stream) : E_NOTIMPL;
    }

    const std::wstring m_uri;
};

ComPtr<ITKDSUriAccessFactory> CFakeDataService::Factory() {
    ComPtr<ITKDSUriAccessFactory> factory;
    *factory.GetAddressOf() = new CFactory(*this);
    return factory;
}

std::function<HRESULT(REFIID, void**)> CFakeDataService::Creator() {
    return [this](REFIID iid, void** object) { return Factory()->QueryInterface(iid, object); };
}

ComPtr<IUnknown> CFakeDataService::Accessor(const std::wstring& uri) {
    ComPtr<IUnknown> accessor;
    *accessor.GetAddressOf() = static_cast<ITKDSCreateStream*>(new CAccessor(*this, uri));
    return accessor;
}

std::vector<CFakeDataService::Call> CFakeDataService::Calls() const {
    const std::lock_guard lock(m_mutex);
    return m_calls;
}

void CFakeDataService::Record(Call call) {
    const std::lock_guard lock(m_mutex);
    m_calls.push_back(std::move(call));
}
