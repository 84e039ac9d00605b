// The metadata classes of a data-service layer: they write down what is done with them, and misbehave as a test says.
//
// The classes exist in this process, for all threads of its multithreaded apartment, while the object lives; so do the
// objects made from them.  Threads: one uses the classes at a time.
#pragma once

#include "tests/support/CRegisteredComClass.h"

#include <TKDataServices.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

class CFakeMetadataService final {
public:
    enum class Fault { Fail, Throw, GiveNull };

    // What the call does whose record begins so.
    std::wstring faultyCall = L"none";
    Fault fault = Fault::Fail;
    // The value of every key; nothing: there is no such key.
    std::optional<std::wstring> mimeType = L"video/mpeg";

    std::vector<std::wstring> calls;  // in their order, with their arguments
    IStream* extracted = nullptr;     // the stream of the last extraction
    long liveObjects = 0;

private:
    // Any of the service's objects, handed out by the interface that it is made for.
    class CObject final : public ITKDSMetaDataReader,
                          public ITKCFStringList,
                          public ITKDSMetaDataExtractionOptions,
                          public ITKCFConstStringList,
                          public ITKDSMetaData,
                          public ITKCFPropertySet {
    public:
        explicit CObject(CFakeMetadataService& service) : m_service(service) { ++m_service.liveObjects; }
        virtual ~CObject() { --m_service.liveObjects; }

        STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
        STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
        STDMETHODIMP_(ULONG) Release() override {
            const ULONG left = --m_references;
            if (left == 0)
                delete this;
            return left;
        }

        STDMETHODIMP Insert(long position, BSTR item) override {
            return m_service.Record(L"Insert " + std::to_wstring(position) + L" " + item);
        }
        STDMETHODIMP GetConstAccessor(ITKCFConstStringList** list) override {
            return m_service.Give(L"GetConstAccessor", list);
        }
        STDMETHODIMP CreateMetaData(ITKDSMetaData** data) override { return m_service.Give(L"CreateMetaData", data); }
        STDMETHODIMP Extract(ITKCFConstStringList* keys, IStream* stream, ITKDSMetaData* data) override {
            m_service.extracted = stream;
            return m_service.Record(std::wstring(L"Extract") + (keys ? L" keys" : L"") + (data ? L" metadata" : L""));
        }
        STDMETHODIMP GetGeneralMetaData(ITKCFPropertySet** properties) override {
            return m_service.Give(L"GetGeneralMetaData", properties);
        }
        STDMETHODIMP GetValue(BSTR key, VARIANT* value) override {
            const HRESULT hr = m_service.Record(std::wstring(L"GetValue ") + key);
            if (FAILED(hr) || !m_service.mimeType)
                return FAILED(hr) ? hr : S_FALSE;
            value->vt = VT_BSTR;
            value->bstrVal = ::SysAllocString(m_service.mimeType->c_str());
            return S_OK;
        }

        // What the filter has no use for
        STDMETHODIMP GetCount(long*) override { return E_NOTIMPL; }
        STDMETHODIMP GetItem(long, BSTR*) override { return E_NOTIMPL; }
        STDMETHODIMP GetKey(long, BSTR*) override { return E_NOTIMPL; }
        STDMETHODIMP IndexOf(BSTR, long*) override { return E_NOTIMPL; }
        STDMETHODIMP Add(BSTR) override { return E_NOTIMPL; }
        STDMETHODIMP Remove(long) override { return E_NOTIMPL; }
        STDMETHODIMP Clear() override { return E_NOTIMPL; }
        STDMETHODIMP Clone(ITKCFStringList**) override { return E_NOTIMPL; }
        STDMETHODIMP GetReaderName(BSTR*) override { return E_NOTIMPL; }
        STDMETHODIMP GetSupportedKeys(ITKCFConstStringList**) override { return E_NOTIMPL; }
        STDMETHODIMP GetSupportedMimeTypes(ITKCFConstStringList**) override { return E_NOTIMPL; }
        STDMETHODIMP CanExtract(IStream*) override { return E_NOTIMPL; }

    private:
        CFakeMetadataService& m_service;
        ULONG m_references = 1;
    };

    // Writes the call down and does its fault; a failure code is the caller's result.
    HRESULT Record(const std::wstring& call) {
        calls.push_back(call);
        const bool isFaulty = call.starts_with(faultyCall);
        if (isFaulty && fault == Fault::Throw)
            throw std::runtime_error("the call throws");
        return isFaulty && fault == Fault::Fail ? static_cast<HRESULT>(0x80041234) : S_OK;
    }
    template <class Interface>
    HRESULT Give(const wchar_t* call, Interface** object) {
        const HRESULT hr = Record(call);
        *object = FAILED(hr) || call == faultyCall ? nullptr : new CObject(*this);
        return hr;
    }
    template <class Interface>
    [[nodiscard]] CRegisteredComClass::Creator Creator(const wchar_t* call) {
        return [this, call](REFIID, void** object) { return Give(call, reinterpret_cast<Interface**>(object)); };
    }

    const CRegisteredComClass m_reader{CLSID_TKDSMetaDataReader, Creator<ITKDSMetaDataReader>(L"create reader")};
    const CRegisteredComClass m_keys{CLSID_TKCFStringList, Creator<ITKCFStringList>(L"create keys")};
    const CRegisteredComClass m_options{CLSID_TKDSMetaDataExtractionOptions,
                                        Creator<ITKDSMetaDataExtractionOptions>(L"create options")};
};
