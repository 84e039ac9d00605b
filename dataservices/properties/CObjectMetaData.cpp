#include "dataservices/properties/CObjectMetaData.h"

#include "dataservices/OpenStream.h"
#include "dataservices/com/ComMethod.h"
#include "dataservices/properties/CMetaData.h"
#include "dataservices/properties/MimeTypes.h"

namespace dataservices {

using Microsoft::WRL::ComPtr;

HRESULT CObjectMetaData::GetObjectMetaData(unsigned long flags, ITKCFConstStringList* requestList,
                                           ITKDSMetaData** metaData) noexcept {
    return ComMethod<ITKDSGetObjectMetaData>(metaData, [&]() -> MethodResult {
        if (!requestList)
            return E_POINTER;
        RequestedKeys keys;
        if (const HRESULT hr = ReadRequestedKeys(*requestList, &keys); FAILED(hr))
            return MethodResult::Of(*requestList, hr);
        return Collect(flags, keys, metaData);
    });
}

HRESULT CObjectMetaData::GetAllObjectMetaData(unsigned long flags, ITKDSMetaData** metaData) noexcept {
    return ComMethod<ITKDSGetObjectMetaData>(
        metaData, [&] { return Collect(flags, {.mimeType = true, .originalUri = true}, metaData); });
}

HRESULT CObjectMetaData::Collect(unsigned long flags, const RequestedKeys& keys, ITKDSMetaData** metaData) const {
    if (flags > GetMetaDataExtractFromObjectIfOutdated)
        return E_INVALIDARG;
    std::wstring mimeType;
    if (keys.mimeType && flags == GetMetaDataExtractFromObjectIfOutdated) {
        if (const HRESULT hr = ReadMimeType(&mimeType); FAILED(hr))
            return hr;
    }
    ComPtr<CMetaData> collected;
    if (const HRESULT hr = framework::MakeComObject<CMetaData>(collected.GetAddressOf()); FAILED(hr))
        return hr;
    if (!mimeType.empty()) {
        if (const HRESULT hr = collected->PutText(mdMimeType, mimeType.c_str()); FAILED(hr))
            return hr;
    }
    if (keys.originalUri) {
        if (const HRESULT hr = collected->PutText(mdOriginalUri, UriOf(m_place).c_str()); FAILED(hr))
            return hr;
    }
    *metaData = collected.Detach();
    return S_OK;
}

HRESULT CObjectMetaData::ReadMimeType(std::wstring* mimeType) const {
    if (std::holds_alternative<FolderPlace>(m_place))
        return S_OK;
    ComPtr<IStream> stream;
    const HRESULT hr =
        OpenStream(m_place, TKDS_ACCESS_READ, TKDS_SHARE_READ | TKDS_SHARE_WRITE, m_options, stream.GetAddressOf());
    return FAILED(hr) ? hr : DetectMimeType(stream.Get(), mimeType);
}

}  // namespace dataservices
