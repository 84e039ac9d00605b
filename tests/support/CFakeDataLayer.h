// A data-service layer, all of it one object, which writes down what is asked of it and misbehaves as a test says.
//
//   CFakeDataLayer layer;
//   layer.faults = {{L"GetEntryId", Fault::Fail}};
//
// The classes exist in this process, for all threads of its multithreaded apartment, while the object lives.
// Threads: any, one at a time.  Lifetime: the test's.
#pragma once

#include "TKDataServices.h"
#include "tests/support/CRegisteredComClass.h"
#include "tests/support/CTestObject.h"

#include <oleauto.h>

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

class CFakeDataLayer final
    : public CTestObject<ITKDSUriAccessFactory, ITKDSDirectory, ITKDSGetParentInfoForUri, ITKDSSourceInfo,
                         ITKDSCreateStream, ITKDSCreateWritableStream, ITKDSGetObjectMetaData, ITKDSMetaData,
                         ITKCFPropertySet, ITKCFStringList, ITKCFConstStringList, ITKDSVirtualDirectoryFactory,
                         ITKDSVirtualDirectory, ITKDSVirtualDirectoryItem, ITKDSMetaDataReader,
                         ITKDSMetaDataExtractionOptions> {
public:
    // Fail: with kFault, and with a result that must not be used. GiveNull: success without a result.
    enum class Fault { None, Fail, Throw, GiveNull };
    static constexpr HRESULT kFault = static_cast<HRESULT>(0x80041234);

    // What a step does instead if its text begins with the given one. The text is the name of the method, or "create"
    // and the name of the class, and then the arguments; for OpenUriAs and OpenEntryAs the accessor id comes first.
    std::map<std::wstring, Fault> faults;
    const wchar_t* value = nullptr;  // of every key of the metadata; null: there is no such key
    IStream* stream = nullptr;       // what is created
    IStream* extracted = nullptr;    // the stream of the last extraction
    // What these steps do otherwise; `uri` is the one opened last.
    std::function<HRESULT(VARIANT* accessor)> openUriAs;
    std::function<HRESULT(const std::wstring& uri, IStream** stream)> createStream;

    // The steps since the last call of this function.
    std::vector<std::wstring> TakeSteps() { return std::exchange(m_steps, {}); }

    // Answering an interface is a step, too, which is not written down.
    static std::wstring Answer(REFIID iid) {
        wchar_t text[64]{};
        ::StringFromGUID2(iid, text, 64);
        return std::wstring(L"answer ") + text;
    }
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        return Give(Answer(iid), object, [&] { return CTestObject::QueryInterface(iid, object); });
    }

    STDMETHODIMP OpenUriAs(BSTR uri, BSTR id, VARIANT* to) override {
        m_uri = uri;
        return openUriAs ? openUriAs(to) : GiveAccessor(L"OpenUriAs", uri, id, to);
    }
    STDMETHODIMP OpenEntryAs(BSTR entry, BSTR id, VARIANT* to) override {
        return GiveAccessor(L"OpenEntryAs", entry, id, to);
    }
    STDMETHODIMP GetParentDirectory(ITKDSDirectory** to) override { return Give(L"GetParentDirectory", to); }
    STDMETHODIMP GetEntryId(BSTR* to) override { return GiveText(L"GetEntryId", L"entry 7", to); }
    STDMETHODIMP GetUri(BSTR* to) override { return GiveText(L"GetUri", L"own uri", to); }
    STDMETHODIMP CreateStream(unsigned long access, unsigned long share, IStream** to) override {
        return GiveStream(L"CreateStream " + std::to_wstring(access) + L" " + std::to_wstring(share), to);
    }
    STDMETHODIMP CreateStreamEx2(TKDS_STREAM_CREATION, IStream** to) override {
        return GiveStream(L"CreateStreamEx2", to);
    }
    STDMETHODIMP CreateWritableStream(unsigned long access, unsigned long share, IStream** to) override {
        return GiveStream(L"CreateWritableStream " + std::to_wstring(access) + L" " + std::to_wstring(share), to);
    }
    STDMETHODIMP GetObjectMetaData(unsigned long flags, ITKCFConstStringList* keys, ITKDSMetaData** to) override {
        return Give(L"GetObjectMetaData " + std::to_wstring(flags) + (keys ? L" with keys" : L""), to);
    }
    STDMETHODIMP GetAllObjectMetaData(unsigned long flags, ITKDSMetaData** to) override {
        return Give(L"GetAllObjectMetaData " + std::to_wstring(flags), to);
    }
    STDMETHODIMP GetGeneralMetaData(ITKCFPropertySet** to) override { return Give(L"GetGeneralMetaData", to); }
    STDMETHODIMP GetValue(BSTR key, VARIANT* to) override {
        const HRESULT hr = Do(std::wstring(L"GetValue ") + key);
        if (FAILED(hr) || !value)
            return FAILED(hr) ? hr : S_FALSE;
        to->vt = VT_BSTR;
        to->bstrVal = ::SysAllocString(value);
        return S_OK;
    }
    STDMETHODIMP Add(BSTR item) override { return Do(std::wstring(L"Add ") + item); }
    STDMETHODIMP Insert(long position, BSTR item) override {
        return Do(L"Insert " + std::to_wstring(position) + L" " + item);
    }
    STDMETHODIMP GetConstAccessor(ITKCFConstStringList** to) override { return Give(L"GetConstAccessor", to); }
    STDMETHODIMP CreateMetaData(ITKDSMetaData** to) override { return Give(L"CreateMetaData", to); }
    STDMETHODIMP Extract(ITKCFConstStringList* keys, IStream* content, ITKDSMetaData* data) override {
        extracted = content;
        return Do(std::wstring(L"Extract") + (keys ? L" keys" : L"") + (data ? L" metadata" : L""));
    }
    STDMETHODIMP CreateVirtualDirectory(ITKDSVirtualDirectory** to) override {
        return Give(L"CreateVirtualDirectory", to);
    }
    STDMETHODIMP CreateVirtualDirectoryItemFromUri(BSTR uri, ITKDSVirtualDirectoryItem** to) override {
        return Give(std::wstring(L"CreateVirtualDirectoryItemFromUri ") + uri, to);
    }
    STDMETHODIMP AppendChildWithId(ITKDSVirtualDirectoryItem* item, BSTR id, BSTR name) override {
        return Do(std::wstring(L"AppendChildWithId ") + (item ? L"" : L"null ") + id + L" " + name);
    }

    // Methods that no test calls
    STDMETHODIMP GetEntryCount(long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetEntryId(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetEntryName(BSTR, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP HasEntry(BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP CreateWritableStreamEx2(TKDS_STREAM_CREATION, IStream**) override { return E_NOTIMPL; }
    STDMETHODIMP GetKey(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetCount(long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetItem(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP IndexOf(BSTR, long*) override { return E_NOTIMPL; }
    STDMETHODIMP Remove(long) override { return E_NOTIMPL; }
    STDMETHODIMP Clear() override { return E_NOTIMPL; }
    STDMETHODIMP Clone(ITKCFStringList**) override { return E_NOTIMPL; }
    STDMETHODIMP GetReaderName(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetSupportedKeys(ITKCFConstStringList**) override { return E_NOTIMPL; }
    STDMETHODIMP GetSupportedMimeTypes(ITKCFConstStringList**) override { return E_NOTIMPL; }
    STDMETHODIMP CanExtract(IStream*) override { return E_NOTIMPL; }

private:
    // Writes the step down and gives what it does instead of its work. Throws if the step is to throw.
    Fault Begin(const std::wstring& step) {
        if (!step.starts_with(L"answer "))
            m_steps.push_back(step);
        for (const auto& [beginning, fault] : faults)
            if (step.starts_with(beginning))
                return fault == Fault::Throw ? throw std::runtime_error("scripted") : fault;
        return Fault::None;
    }
    HRESULT Do(const std::wstring& step) { return Begin(step) == Fault::Fail ? kFault : S_OK; }
    template <class Result, class Body>
    HRESULT Give(const std::wstring& step, Result** to, Body&& body) {
        const Fault fault = Begin(step);
        *to = fault == Fault::Fail ? reinterpret_cast<Result*>(1) : nullptr;
        return fault == Fault::None ? body() : fault == Fault::Fail ? kFault : S_OK;
    }
    template <class Interface>
    HRESULT Give(const std::wstring& step, Interface** to) {
        return Give(step, to, [&] { return CTestObject::QueryInterface(IID_PPV_ARGS(to)); });
    }
    HRESULT GiveText(const wchar_t* step, const wchar_t* text, BSTR* to) {
        return Give(step, to, [&] { return (*to = ::SysAllocString(text)) ? S_OK : E_OUTOFMEMORY; });
    }
    HRESULT GiveStream(const std::wstring& step, IStream** to) {
        return Give(step, to,
                    [&] { return createStream ? createStream(m_uri, to) : stream->QueryInterface(IID_PPV_ARGS(to)); });
    }
    // A VARIANT that a failing step leaves behind is for the caller to clear.
    HRESULT GiveAccessor(const std::wstring& step, const std::wstring& name, const std::wstring& id, VARIANT* to) {
        const Fault fault = Begin(step + L" " + id + L" " + name);
        to->vt = VT_UNKNOWN;
        to->punkVal = nullptr;
        if (fault != Fault::GiveNull)
            CTestObject::QueryInterface(IID_PPV_ARGS(&to->punkVal));
        return fault == Fault::Fail ? kFault : S_OK;
    }
    CRegisteredComClass::Creator Creator(const wchar_t* step) {
        return [this, step](REFIID iid, void** to) {
            return Give(step, to, [&] { return CTestObject::QueryInterface(iid, to); });
        };
    }

    std::vector<std::wstring> m_steps;
    std::wstring m_uri;
    const CRegisteredComClass m_accessFactories{CLSID_TKDSUriAccessFactory, Creator(L"create TKDSUriAccessFactory")};
    const CRegisteredComClass m_directoryFactories{CLSID_TKDSVirtualDirectoryFactory,
                                                   Creator(L"create TKDSVirtualDirectoryFactory")};
    const CRegisteredComClass m_stringLists{CLSID_TKCFStringList, Creator(L"create TKCFStringList")};
    const CRegisteredComClass m_readers{CLSID_TKDSMetaDataReader, Creator(L"create TKDSMetaDataReader")};
    const CRegisteredComClass m_options{CLSID_TKDSMetaDataExtractionOptions,
                                        Creator(L"create TKDSMetaDataExtractionOptions")};
};
