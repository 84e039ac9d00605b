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

[[nodiscard]] HRESULT ReadInto(IOwnMetaData& metaData, const RequestedKeys& keys, IStream* stream) {
    if (keys.mimeType) {
        std::wstring mimeType;
        if (const HRESULT hr = DetectMimeType(stream, &mimeType); FAILED(hr))
            return hr;
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
    return ComMethod(name, [&] { return GiveText(L"Tavel metadata reader", name); });
}

HRESULT CMetaDataReader::GetSupportedKeys(ITKCFConstStringList** keys) noexcept {
    return ComMethod(keys, [&] {
        return GiveNew<CConstStringList>(keys, CConstStringList::Items{mdMimeType, mdOriginalUri});
    });
}

HRESULT CMetaDataReader::GetSupportedMimeTypes(ITKCFConstStringList** mimeTypes) noexcept {
    return ComMethod(mimeTypes, [&] { return GiveNew<CConstStringList>(mimeTypes, KnownMimeTypes()); });
}

HRESULT CMetaDataReader::CanExtract(IStream* stream) noexcept {
    if (!stream)
        return E_POINTER;
    return base::ComBoundary([&] {
        std::wstring mimeType;
        return DetectMimeType(stream, &mimeType);
    });
}

HRESULT CMetaDataReader::Extract(ITKCFConstStringList* keys, IStream* stream, ITKDSMetaData* metaData) noexcept {
    if (!keys || !stream || !metaData)
        return E_POINTER;
    return base::ComBoundary([&]() -> HRESULT {
        ComPtr<IOwnMetaData> own;
        if (FAILED(base::QueryFor(*metaData, own.GetAddressOf())))
            return E_INVALIDARG;
        RequestedKeys requested;
        const HRESULT hr = ReadRequestedKeys(*keys, &requested);
        return FAILED(hr) ? hr : ReadInto(*own.Get(), requested, stream);
    });
}

}  // namespace dataservices
