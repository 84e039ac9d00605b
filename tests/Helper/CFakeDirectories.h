// The part of a data-service layer that knows directories, virtual directories and metadata: all of it one object,
// which writes down what is asked of it and misbehaves as a test says. Access factory and streams are a
// CFakeDataService's.
//
//   CFakeDirectories layer;
//   layer.faults = {{L"GetEntryId", Fault::Fail}};
//
// The classes exist in this process, for all threads of its multithreaded apartment, while the object lives.
// Threads: any, one at a time.  Lifetime: the test's.
#pragma once

#include "tests/support/CFakeDataService.h"
#include "tests/support/CRegisteredComClass.h"
#include "tests/support/CTestObject.h"

#include <map>
#include <optional>
#include <stdexcept>

class CFakeDirectories final
    : public CTestObject<ITKDSDirectory, ITKDSGetParentInfoForUri, ITKDSSourceInfo, ITKDSCreateStream,
                         ITKDSGetObjectMetaData, ITKDSMetaData, ITKCFPropertySet, ITKCFStringList, ITKCFConstStringList,
                         ITKDSVirtualDirectoryFactory, ITKDSVirtualDirectory, ITKDSVirtualDirectoryItem> {
public:
    // Fail: with kFault, and with a result that must not be used. GiveNull: success without a result.
    enum class Fault { None, Fail, Throw, GiveNull };
    static constexpr HRESULT kFault = static_cast<HRESULT>(0x80041234);

    // What the steps do instead whose text begins so. A step's text is the name of the method, or "create" and that of
    // the class, with the arguments behind it; of OpenUriAs and OpenEntryAs the accessor id comes first.
    std::map<std::wstring, Fault> faults;
    std::optional<IID> refused;               // an interface that no object answers
    std::optional<std::wstring> originalUri;  // the only metadata
    IStream* stream = nullptr;                // what CreateStreamEx2 gives
    CFakeDataService service;

    CFakeDirectories() {
        service.openUriAs = [this](VARIANT* to) {
            const auto call = service.Calls().back();
            return GiveAccessor(L"OpenUriAs", call.uri, call.accessorId, to);
        };
    }

    // The steps since the last call of this function.
    std::vector<std::wstring> TakeSteps() { return std::exchange(m_steps, {}); }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        return iid == refused ? E_NOINTERFACE : CTestObject::QueryInterface(iid, object);
    }
    STDMETHODIMP GetParentDirectory(ITKDSDirectory** to) override { return Give(L"GetParentDirectory", to); }
    STDMETHODIMP GetEntryId(BSTR* to) override { return GiveText(L"GetEntryId", L"entry 7", to); }

    STDMETHODIMP GetEntryCount(long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetEntryId(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetEntryName(BSTR, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP HasEntry(BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP OpenEntryAs(BSTR entryId, BSTR accessorId, VARIANT* to) override {
        return GiveAccessor(L"OpenEntryAs", entryId, accessorId, to);
    }
    STDMETHODIMP GetUri(BSTR* to) override { return GiveText(L"GetUri", L"own uri", to); }

    STDMETHODIMP CreateStreamEx2(TKDS_STREAM_CREATION, IStream** to) override {
        const auto [hr, fault] = Step(L"CreateStreamEx2");
        *to = fault == Fault::Fail ? reinterpret_cast<IStream*>(1) : nullptr;
        return fault == Fault::None ? stream->QueryInterface(IID_PPV_ARGS(to)) : hr;
    }
    STDMETHODIMP CreateStream(unsigned long, unsigned long, IStream**) override { return E_NOTIMPL; }

    STDMETHODIMP GetObjectMetaData(unsigned long flags, ITKCFConstStringList* keys, ITKDSMetaData** to) override {
        return Give(L"GetObjectMetaData " + std::to_wstring(flags) + (keys ? L" with keys" : L""), to);
    }
    STDMETHODIMP GetAllObjectMetaData(unsigned long flags, ITKDSMetaData** to) override {
        return Give(L"GetAllObjectMetaData " + std::to_wstring(flags), to);
    }
    STDMETHODIMP GetGeneralMetaData(ITKCFPropertySet** to) override { return Give(L"GetGeneralMetaData", to); }
    STDMETHODIMP GetKey(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP GetValue(BSTR key, VARIANT* to) override {
        const HRESULT hr = Step(std::wstring(L"GetValue ") + key).first;
        if (FAILED(hr) || !originalUri)
            return FAILED(hr) ? hr : S_FALSE;
        to->vt = VT_BSTR;
        to->bstrVal = ::SysAllocString(originalUri->c_str());
        return S_OK;
    }

    STDMETHODIMP GetCount(long*) override { return E_NOTIMPL; }
    STDMETHODIMP GetItem(long, BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP IndexOf(BSTR, long*) override { return E_NOTIMPL; }
    STDMETHODIMP Add(BSTR item) override { return Step(std::wstring(L"Add ") + item).first; }
    STDMETHODIMP Insert(long, BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP Remove(long) override { return E_NOTIMPL; }
    STDMETHODIMP Clear() override { return E_NOTIMPL; }
    STDMETHODIMP Clone(ITKCFStringList**) override { return E_NOTIMPL; }
    STDMETHODIMP GetConstAccessor(ITKCFConstStringList** to) override { return Give(L"GetConstAccessor", to); }

    STDMETHODIMP CreateVirtualDirectory(ITKDSVirtualDirectory** to) override {
        return Give(L"CreateVirtualDirectory", to);
    }
    STDMETHODIMP CreateVirtualDirectoryItemFromUri(BSTR uri, ITKDSVirtualDirectoryItem** to) override {
        return Give(std::wstring(L"CreateVirtualDirectoryItemFromUri ") + uri, to);
    }
    STDMETHODIMP AppendChildWithId(ITKDSVirtualDirectoryItem* item, BSTR id, BSTR name) override {
        return Step(std::wstring(L"AppendChildWithId ") + (item ? L"" : L"null ") + id + L" " + name).first;
    }

private:
    using Creation = CRegisteredComClass::Creator;

    // Writes the step down and throws if it is to; the result of the call and what it does instead of its work.
    std::pair<HRESULT, Fault> Step(const std::wstring& step) {
        m_steps.push_back(step);
        for (const auto& [beginning, fault] : faults) {
            if (!step.starts_with(beginning))
                continue;
            if (fault == Fault::Throw)
                throw std::runtime_error("scripted");
            return {fault == Fault::Fail ? kFault : S_OK, fault};
        }
        return {S_OK, Fault::None};
    }
    template <class Interface>
    HRESULT Give(const std::wstring& step, Interface** to) {
        const auto [hr, fault] = Step(step);
        *to = fault == Fault::None ? this : fault == Fault::Fail ? reinterpret_cast<Interface*>(1) : nullptr;
        if (fault == Fault::None)
            AddRef();
        return hr;
    }
    HRESULT GiveText(const wchar_t* step, const wchar_t* text, BSTR* to) {
        const auto [hr, fault] = Step(step);
        *to = fault == Fault::Fail ? reinterpret_cast<BSTR>(1) : nullptr;
        if (fault == Fault::None)
            *to = ::SysAllocString(text);
        return hr;
    }
    HRESULT GiveAccessor(const std::wstring& step, const std::wstring& name, const std::wstring& id, VARIANT* to) {
        const auto [hr, fault] = Step(step + L" " + id + L" " + name);
        to->vt = VT_UNKNOWN;
        to->punkVal = nullptr;
        return fault == Fault::GiveNull ? hr : (QueryInterface(IID_PPV_ARGS(&to->punkVal)), hr);
    }
    Creation Creator(const wchar_t* step, Creation create) {
        return [this, step, create = std::move(create)](REFIID iid, void** object) {
            *object = nullptr;
            const auto [hr, fault] = Step(step);
            return fault == Fault::None ? create(iid, object) : hr;
        };
    }
    Creation Self() {
        return [this](REFIID iid, void** object) { return QueryInterface(iid, object); };
    }

    std::vector<std::wstring> m_steps;
    const CRegisteredComClass m_accessFactories{CLSID_TKDSUriAccessFactory,
                                                Creator(L"create TKDSUriAccessFactory", service.Creator())};
    const CRegisteredComClass m_directoryFactories{CLSID_TKDSVirtualDirectoryFactory,
                                                   Creator(L"create TKDSVirtualDirectoryFactory", Self())};
    const CRegisteredComClass m_stringLists{CLSID_TKCFStringList, Creator(L"create TKCFStringList", Self())};
};
