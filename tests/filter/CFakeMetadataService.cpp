#include "tests/filter/CFakeMetadataService.h"

#include "diagnostics/CBstr.h"

#include <TKDataServices.h>
#include <gtest/gtest.h>
#include <wrl/client.h>

#include <atomic>
#include <stdexcept>

using Microsoft::WRL::ComPtr;

namespace {
constexpr HRESULT kFault = static_cast<HRESULT>(0x80041234);
}

template <class Interface>
class CFakeMetadataService::CObject : public Interface {
public:
    CObject(CFakeMetadataService& service, const wchar_t* name) : m_service(service), m_name(name) {
        ++m_service.m_liveObjects;
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        const bool isAnswered = iid == __uuidof(IUnknown) || iid == __uuidof(Interface);
        *object = isAnswered ? this : nullptr;
        if (!isAnswered)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    virtual ~CObject() {
        --m_service.m_liveObjects;
        const std::lock_guard lock(m_service.m_mutex);
        m_service.m_events.push_back(std::wstring(L"released ") + m_name);
    }

    CFakeMetadataService& m_service;

private:
    const wchar_t* const m_name;
    std::atomic<ULONG> m_references{1};
};

class CFakeMetadataService::CProperties final : public CObject<ITKCFPropertySet> {
public:
    explicit CProperties(CFakeMetadataService& service) : CObject(service, L"properties") {}

    STDMETHODIMP GetCount(long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetKey(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetValue(BSTR key, VARIANT* value) override {
        const HRESULT hr = m_service.Step(L"GetValue", key);
        return FAILED(hr) ? hr : m_service.getValue(value);
    }
};

class CFakeMetadataService::CMetaData final : public CObject<ITKDSMetaData> {
public:
    explicit CMetaData(CFakeMetadataService& service) : CObject(service, L"metadata") {}

    STDMETHODIMP GetGeneralMetaData(ITKCFPropertySet** propertySet) override {
        return m_service.Give<CProperties>(L"GetGeneralMetaData", propertySet);
    }
};

class CFakeMetadataService::CKeySet final : public CObject<ITKCFConstStringList> {
public:
    explicit CKeySet(CFakeMetadataService& service) : CObject(service, L"key set") {}

    STDMETHODIMP GetCount(long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetItem(long, BSTR*) override { return E_NOTIMPL; }
};

class CFakeMetadataService::CKeys final : public CObject<ITKCFStringList> {
public:
    explicit CKeys(CFakeMetadataService& service) : CObject(service, L"keys") {}

    STDMETHODIMP GetCount(long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetItem(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP IndexOf(BSTR, long*) override { return E_NOTIMPL; }
    STDMETHODIMP Add(BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP Insert(long position, BSTR item) override {
        return m_service.Step(L"Insert", std::to_wstring(position) + L" " + item);
    }
    STDMETHODIMP Remove(long) override { return E_NOTIMPL; }
    STDMETHODIMP Clear() override { return E_NOTIMPL; }
    STDMETHODIMP Clone(ITKCFStringList**) override { return E_NOTIMPL; }
    STDMETHODIMP GetConstAccessor(ITKCFConstStringList** list) override {
        return m_service.Give<CKeySet>(L"GetConstAccessor", list);
    }
};

class CFakeMetadataService::COptions final : public CObject<ITKDSMetaDataExtractionOptions> {
public:
    explicit COptions(CFakeMetadataService& service) : CObject(service, L"options") {}

    STDMETHODIMP CreateMetaData(ITKDSMetaData** metaData) override {
        return m_service.Give<CMetaData>(L"CreateMetaData", metaData);
    }
};

class CFakeMetadataService::CReader final : public CObject<ITKDSMetaDataReader> {
public:
    explicit CReader(CFakeMetadataService& service) : CObject(service, L"reader") {}

    STDMETHODIMP GetReaderName(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetSupportedKeys(ITKCFConstStringList**) override { return E_NOTIMPL; }
    STDMETHODIMP GetSupportedMimeTypes(ITKCFConstStringList**) override { return E_NOTIMPL; }
    STDMETHODIMP CanExtract(IStream*) override { return E_NOTIMPL; }
    STDMETHODIMP Extract(ITKCFConstStringList* keys, IStream* stream, ITKDSMetaData* metaData) override {
        m_service.m_extracted = stream;
        const auto is = [](const void* object) { return object ? L"+" : L"-"; };
        return m_service.Step(L"Extract", std::wstring(is(keys)) + is(stream) + is(metaData));
    }
};

CFakeMetadataService::CFakeMetadataService()
    : m_readers(CLSID_TKDSMetaDataReader, Creator<CReader>(L"create reader")),
      m_keyLists(CLSID_TKCFStringList, Creator<CKeys>(L"create keys")),
      m_options(CLSID_TKDSMetaDataExtractionOptions, Creator<COptions>(L"create options")) {
    EXPECT_EQ(S_OK, m_readers.Result());
    EXPECT_EQ(S_OK, m_keyLists.Result());
    EXPECT_EQ(S_OK, m_options.Result());
}

std::function<HRESULT(VARIANT*)> CFakeMetadataService::TextValue(std::wstring text) {
    return [text = std::move(text)](VARIANT* value) {
        value->vt = VT_BSTR;
        value->bstrVal = CBstr(std::wstring_view(text)).Detach();
        return S_OK;
    };
}

std::vector<std::wstring> CFakeMetadataService::Events() const {
    const std::lock_guard lock(m_mutex);
    return m_events;
}

HRESULT CFakeMetadataService::Step(const std::wstring& step, const std::wstring& arguments) {
    {
        const std::lock_guard lock(m_mutex);
        m_events.push_back(arguments.empty() ? step : step + L" " + arguments);
    }
    if (!fault || fault->first != step)
        return S_OK;
    if (fault->second == Fault::Throw)
        throw std::runtime_error("the step throws");
    return fault->second == Fault::Fail ? kFault : S_OK;
}

template <class Object, class Interface>
HRESULT CFakeMetadataService::Give(const wchar_t* step, Interface** object) {
    *object = nullptr;
    if (const HRESULT hr = Step(step); FAILED(hr))
        return hr;
    if (!fault || fault->first != step)
        *object = new Object(*this);
    return S_OK;
}

template <class Object>
CRegisteredComClass::Creator CFakeMetadataService::Creator(const wchar_t* step) {
    return [this, step](REFIID iid, void** object) {
        ComPtr<Object> created;
        const HRESULT hr = Give<Object>(step, created.GetAddressOf());
        return FAILED(hr) || !created ? hr : created->QueryInterface(iid, object);
    };
}
