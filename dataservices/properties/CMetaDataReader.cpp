#include "dataservices/properties/CMetaDataReader.h"

#include "base/ForeignCalls.h"
#include "dataservices/com/ComMethod.h"
#include "dataservices/com/OwnObjects.h"
#include "dataservices/properties/CConstStringList.h"
#include "dataservices/properties/MimeTypes.h"
#include "dataservices/properties/RequestedKeys.h"
#include "dataservices/properties/StreamUri.h"

namespace dataservices {

using Microsoft::WRL::ComPtr;

namespace {

[[nodiscard]] MethodResult ReadInto(IOwnMetaData& metaData, const RequestedKeys& keys, IStream* stream) {
    if (keys.mimeType) {
        std::wstring mimeType;
        if (const HRESULT hr = DetectMimeType(stream, &mimeType); FAILED(hr))
            return MethodResult::Of(*stream, hr);
        if (!mimeType.empty()) {
            if (const HRESULT hr = metaData.PutText(mdMimeType, mimeType.c_str()); FAILED(hr))
                return hr;
        }
    }
    if (!keys.originalUri)
        return S_OK;
    const std::wstring uri = UriOfStream(*stream);
    const HRESULT hr = uri.empty() ? S_OK : metaData.PutText(mdOriginalUri, uri.c_str());
    return FAILED(hr) ? hr : S_OK;
}

}  // namespace

HRESULT CMetaDataReader::GetReaderName(BSTR* name) noexcept {
    return ComMethod<ITKDSMetaDataReader>(name, [&] { return GiveText(L"Tavel metadata reader", name); });
}

HRESULT CMetaDataReader::GetSupportedKeys(ITKCFConstStringList** keys) noexcept {
    return ComMethod<ITKDSMetaDataReader>(keys, [&] {
        return GiveNew<CConstStringList>(keys, CConstStringList::Items{mdMimeType, mdOriginalUri});
    });
}

HRESULT CMetaDataReader::GetSupportedMimeTypes(ITKCFConstStringList** mimeTypes) noexcept {
    return ComMethod<ITKDSMetaDataReader>(mimeTypes,
                                          [&] { return GiveNew<CConstStringList>(mimeTypes, KnownMimeTypes()); });
}

HRESULT CMetaDataReader::CanExtract(IStream* stream) noexcept {
    return ComMethod<ITKDSMetaDataReader>([&]() -> MethodResult {
        if (!stream)
            return E_POINTER;
        std::wstring mimeType;
        return MethodResult::Of(*stream, DetectMimeType(stream, &mimeType));
    });
}

HRESULT CMetaDataReader::Extract(ITKCFConstStringList* keys, IStream* stream, ITKDSMetaData* metaData) noexcept {
    return ComMethod<ITKDSMetaDataReader>([&]() -> MethodResult {
        if (!keys || !stream || !metaData)
            return E_POINTER;
        ComPtr<IOwnMetaData> own;
        if (FAILED(base::QueryFor(*metaData, own.GetAddressOf())))
            return E_INVALIDARG;
        RequestedKeys requested;
        if (const HRESULT hr = ReadRequestedKeys(*keys, &requested); FAILED(hr))
            return MethodResult::Of(*keys, hr);
        return ReadInto(*own.Get(), requested, stream);
    });
}

}  // namespace dataservices
