#include "filter/DataServiceMimeType.h"

#include "TKDataServices.h"
#include "base/CBstr.h"
#include "base/ComBoundary.h"
#include "base/ForeignCalls.h"
#include "filter/FilterLog.h"
#include "framework/values/CTKCFPropertyValues.h"

#include <wrl/client.h>

namespace filter {

using Microsoft::WRL::ComPtr;

namespace {

HRESULT ReadMimeType(IStream* content, const base::CBstr& key, std::wstring* mime) {
    ComPtr<ITKDSMetaDataReader> reader;
    if (const HRESULT hr = base::CreateObject(CLSID_TKDSMetaDataReader, reader); FAILED(hr))
        return hr;
    ComPtr<ITKCFStringList> keys;
    if (const HRESULT hr = base::CreateObject(CLSID_TKCFStringList, keys); FAILED(hr))
        return hr;
    ComPtr<ITKDSMetaDataExtractionOptions> options;
    if (const HRESULT hr = base::CreateObject(CLSID_TKDSMetaDataExtractionOptions, options); FAILED(hr))
        return hr;

    constexpr long kAppend = -1;
    if (const HRESULT hr = keys->Insert(kAppend, key.Get()); FAILED(hr))
        return hr;
    ComPtr<ITKCFConstStringList> keySet;
    if (const HRESULT hr = base::Receive(keySet, keys.Get(), &ITKCFStringList::GetConstAccessor); FAILED(hr))
        return hr;
    ComPtr<ITKDSMetaData> metaData;
    if (const HRESULT hr = base::ReceiveAny(metaData, options.Get(), &ITKDSMetaDataExtractionOptions::CreateMetaData);
        FAILED(hr))
        return hr;
    if (const HRESULT hr = reader->Extract(keySet.Get(), content, metaData.Get()); FAILED(hr))
        return hr;
    // Checked only here, on purpose: the reader's own answer to a missing object comes first.
    if (!metaData)
        return E_POINTER;
    ComPtr<ITKCFPropertySet> properties;
    if (const HRESULT hr = base::Receive(properties, metaData.Get(), &ITKDSMetaData::GetGeneralMetaData); FAILED(hr))
        return hr;
    return CTKCFPropertyValues(properties.Get()).GetString(key.Get(), mime);
}

}  // namespace

std::vector<std::wstring> MimeTypeFromDataServices(IStream* content) {
    TK_PROFILE(kFilterLog, L"CCustomFileSourceFilter::SetSourceFileStream", L"Extracting MimeType via TKDataServices");
    const base::CBstr key(mdMimeType);
    std::wstring mime;
    const HRESULT hr = base::ComBoundary([&] { return ReadMimeType(content, key, &mime); });
    return hr == S_OK ? std::vector{mime} : std::vector<std::wstring>{};
}

}  // namespace filter
