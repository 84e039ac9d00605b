#include "Helper/CDirEntryWrapper.h"

#include "Helper/FileAccessLog.h"
#include "Helper/FindEntry.h"
#include "base/ComBoundary.h"
#include "base/ForeignCalls.h"
#include "framework/values/CTKCFPropertyValues.h"
#include "framework/values/CopyVariantToComPointer.h"

#include <string>

using Microsoft::WRL::ComPtr;

namespace FileAccess {

namespace {

constexpr wchar_t kCreateFromURI[] = L"FileAccess::CDirEntryWrapper::CreateFromURI";
constexpr wchar_t kCreateFromEntry[] = L"FileAccess::CDirEntryWrapper::CreateFromEntry";
constexpr wchar_t kGetAccessor[] = L"FileAccess::CDirEntryWrapper::GetAccessor";
constexpr wchar_t kGetUri[] = L"FileAccess::CDirEntryWrapper::GetUri";
constexpr wchar_t kGetCompatibleUri[] = L"FileAccess::CDirEntryWrapper::GetCompatibleUri";
constexpr wchar_t kCreateStream[] = L"FileAccess::CDirEntryWrapper::CreateStream";

template <class Interface>
[[nodiscard]] HRESULT GetAccessorOf(const CDirEntryWrapper& entry, const wchar_t* accessorId,
                                    ComPtr<Interface>& accessor) {
    framework::CVariant variant;
    const HRESULT hr = entry.GetAccessor(accessorId, variant.Put());
    return FAILED(hr) ? hr : CopyVariantToComPointer(variant, accessor.ReleaseAndGetAddressOf());
}

HRESULT OpenAccessor(BSTR uri, const wchar_t* accessorId, VARIANT* pAccessor) {
    HRESULT hr = S_OK;
    ComPtr<ITKDSUriAccessFactory> factory;
    TK_CHECK_CALL_AS(kLog, kGetAccessor, hr, base::CreateObject(CLSID_TKDSUriAccessFactory, factory),
                     L"pUriAccessFactory.CoCreateInstance(__uuidof(TKDSUriAccessFactory))");
    TK_CHECK_CALL_AS(kLog, kGetAccessor, hr, factory->OpenUriAs(uri, base::CBstr(accessorId).Get(), pAccessor),
                     L"pUriAccessFactory->OpenUriAs(m_strUri.ToBSTR(),CComBSTR(wszAccessorId),pAccessor)");
    return hr;
}

HRESULT ReadUri(const CDirEntryWrapper& entry, BSTR* pbstrUri) {
    HRESULT hr = S_OK;
    ComPtr<ITKDSSourceInfo> sourceInfo;
    TK_CHECK_CALL_AS(kLog, kGetUri, hr, GetAccessorOf(entry, TKDS_ACCESSOR_SOURCEINFO, sourceInfo),
                     L"GetAccessor(TKDS_ACCESSOR_SOURCEINFO,&pSourceInfo)");
    base::CBstr uri;
    TK_CHECK_CALL_AS(kLog, kGetUri, hr, base::ReceiveAny(uri, sourceInfo.Get(), &ITKDSSourceInfo::GetUri),
                     L"pSourceInfo->GetUri(&bstrUri)");
    *pbstrUri = uri.Detach();
    return hr;
}

// The properties of the entry; only the original URI is requested. Null if the metadata has no properties at all.
HRESULT ReadProperties(const CDirEntryWrapper& entry, ComPtr<ITKCFPropertySet>& properties) {
    HRESULT hr = S_OK;
    ComPtr<ITKDSGetObjectMetaData> accessor;
    TK_CHECK_CALL_AS(kLog, kGetCompatibleUri, hr, GetAccessorOf(entry, TKDS_ACCESSOR_GETOBJECTMETADATA, accessor),
                     L"GetAccessor(TKDS_ACCESSOR_GETOBJECTMETADATA,&pGetObjectMetaData)");

    ComPtr<ITKCFStringList> requestList;
    TK_CHECK_CALL_AS(kLog, kGetCompatibleUri, hr, base::CreateObject(CLSID_TKCFStringList, requestList),
                     L"pRequestList.CoCreateInstance(__uuidof(TKCFStringList))");
    TK_CHECK_CALL_AS(kLog, kGetCompatibleUri, hr, requestList->Add(base::CBstr(mdOriginalUri).Get()),
                     L"pRequestList->Add(CComBSTR(mdOriginalUri))");
    ComPtr<ITKCFConstStringList> keys;
    TK_CHECK_CALL_AS(kLog, kGetCompatibleUri, hr,
                     base::Receive(keys, requestList.Get(), &ITKCFStringList::GetConstAccessor),
                     L"pRequestList->GetConstAccessor(&pConstRequestList)");

    ComPtr<ITKDSMetaData> pMetaData;
    TK_CHECK_CALL_AS(
        kLog, kGetCompatibleUri, hr,
        base::ReceiveAny(pMetaData, accessor.Get(), &ITKDSGetObjectMetaData::GetObjectMetaData,
                         GetMetaDataExtractFromObjectIfOutdated, keys.Get()),
        L"pGetObjectMetaData->GetObjectMetaData(GetMetaDataExtractFromObjectIfOutdated,pConstRequestList,&pMetaData)");
    TK_CHECK_POINTER(kLog, kGetCompatibleUri, hr, pMetaData);
    TK_CHECK_CALL_AS(kLog, kGetCompatibleUri, hr,
                     base::ReceiveAny(properties, pMetaData.Get(), &ITKDSMetaData::GetGeneralMetaData),
                     L"pMetaData->GetGeneralMetaData(&pProperties)");
    return hr;
}

HRESULT ReadCompatibleUri(const CDirEntryWrapper& entry, BSTR* pbstrUri) {
    ComPtr<ITKCFPropertySet> properties;
    const HRESULT hr = ReadProperties(entry, properties);
    if (FAILED(hr))
        return hr;
    std::wstring original;
    if (CTKCFPropertyValues(properties.Get()).GetString(mdOriginalUri, &original) != S_OK || original.empty())
        return entry.GetUri(pbstrUri);
    *pbstrUri = base::CBstr(std::wstring_view(original)).Detach();
    return S_OK;
}

HRESULT OpenStream(const CDirEntryWrapper& entry, IStream** ppStream) {
    HRESULT hr = S_OK;
    ComPtr<ITKDSCreateStream> accessor;
    TK_CHECK_CALL_AS(kLog, kCreateStream, hr, GetAccessorOf(entry, TKDS_ACCESSOR_CREATESTREAM, accessor),
                     L"GetAccessor(TKDS_ACCESSOR_CREATESTREAM,&pCreateStream)");
    ComPtr<IStream> stream;
    TK_CHECK_CALL_AS(kLog, kCreateStream, hr,
                     base::Receive(stream, accessor.Get(), &ITKDSCreateStream::CreateStreamEx2, SC_UseDefault),
                     L"pCreateStream->CreateStreamEx2(SC_UseDefault, ppStream)");
    *ppStream = stream.Detach();
    return hr;
}

}  // namespace

CDirEntryWrapper::CDirEntryWrapper(ITKDSDirectory* pDirectory, const wchar_t* wszEntryId) : m_pDirectory(pDirectory) {
    const wchar_t* const entryId = wszEntryId ? wszEntryId : L"";
    m_strEntryId.SetWide(entryId);
    if (!pDirectory)
        m_strUri.SetWide(entryId);
}

bool CDirEntryWrapper::IsValid() const {
    return m_pDirectory || *m_strEntryId.GetWide() != L'\0';
}

ULONG CDirEntryWrapper::Release() noexcept {
    const ULONG left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

HRESULT CDirEntryWrapper::CreateFromURI(const wchar_t* wszUri, CDirEntryWrapper** ppObj) noexcept {
    TK_PROFILE(kTiming, kCreateFromURI, L"");
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kLog, kCreateFromURI, hr);
    TK_CHECK_RETVAL(kLog, kCreateFromURI, hr, ppObj);
    *ppObj = nullptr;
    hr = base::ComBoundary([&] { return FindEntry(wszUri, ppObj); });
    return hr;
}

HRESULT CDirEntryWrapper::CreateFromEntry(ITKDSDirectory* pDirectory, const wchar_t* wszEntryId,
                                          CDirEntryWrapper** ppObj) noexcept {
    TK_PROFILE(kTiming, kCreateFromEntry, L"");
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kLog, kCreateFromEntry, hr);
    TK_CHECK_RETVAL(kLog, kCreateFromEntry, hr, ppObj);
    *ppObj = nullptr;
    hr = base::ComBoundary([&]() -> HRESULT {
        ComPtr<CDirEntryWrapper> entry(new CDirEntryWrapper(pDirectory, wszEntryId));
        if (!entry->IsValid())
            return E_FAIL;
        *ppObj = entry.Detach();
        return S_OK;
    });
    return hr;
}

HRESULT CDirEntryWrapper::GetAccessor(const wchar_t* wszAccessorId, VARIANT* pAccessor) const noexcept {
    TK_PROFILE(kTiming, kGetAccessor, L"");
    HRESULT hr = S_OK;
    TKRuntimeLogger::CExitScopeGuard guard(TKRuntimeLogger::kError, kLog, __LINE__, kGetAccessor, nullptr, &hr);
    TK_CHECK_RETVAL(kLog, kGetAccessor, hr, pAccessor);
    ::VariantInit(pAccessor);
    if (m_pDirectory)
        guard.Dismiss();  // its answer is not logged here: the caller knows whether it matters
    hr = base::ComBoundary([&]() -> HRESULT {
        if (!m_pDirectory)
            return OpenAccessor(m_strUri.GetBstr(), wszAccessorId, pAccessor);
        const base::CBstr accessorId(wszAccessorId);
        return m_pDirectory->OpenEntryAs(m_strEntryId.GetBstr(), accessorId.Get(), pAccessor);
    });
    if (FAILED(hr)) {
        ::VariantClear(pAccessor);
        ::VariantInit(pAccessor);
    }
    return hr;
}

HRESULT CDirEntryWrapper::GetUri(BSTR* pbstrUri) const noexcept {
    TK_PROFILE(kTiming, kGetUri, L"");
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kLog, kGetUri, hr);
    TK_CHECK_RETVAL(kLog, kGetUri, hr, pbstrUri);
    *pbstrUri = nullptr;
    TK_CHECK_POINTER(kLog, kGetUri, hr, m_pDirectory);
    hr = base::ComBoundary([&] { return ReadUri(*this, pbstrUri); });
    return hr;
}

HRESULT CDirEntryWrapper::GetCompatibleUri(BSTR* pbstrUri) const noexcept {
    TK_PROFILE(kTiming, kGetCompatibleUri, L"");
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kLog, kGetCompatibleUri, hr);
    TK_CHECK_RETVAL(kLog, kGetCompatibleUri, hr, pbstrUri);
    *pbstrUri = nullptr;
    TK_CHECK_POINTER(kLog, kGetCompatibleUri, hr, m_pDirectory);
    hr = base::ComBoundary([&] { return ReadCompatibleUri(*this, pbstrUri); });
    return hr;
}

HRESULT CDirEntryWrapper::CreateStream(IStream** ppStream) const noexcept {
    TK_PROFILE(kTiming, kCreateStream, L"");
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kLog, kCreateStream, hr);
    TK_CHECK_RETVAL(kLog, kCreateStream, hr, ppStream);
    *ppStream = nullptr;
    hr = base::ComBoundary([&] { return OpenStream(*this, ppStream); });
    return hr;
}

}  // namespace FileAccess
