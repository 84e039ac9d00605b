// Class TKDSMetaDataReader: the MIME type of a source's content, and where it came from, as far as the stream's own
// name says.
//
// Threads: one at a time.
#pragma once

#include "TKDataServices.h"
#include "dataservices/com/CErrorReporting.h"

namespace dataservices {

class CMetaDataReader final : public CServiceObject<ITKDSMetaDataReader> {
public:
    // ITKDSMetaDataReader
    STDMETHODIMP GetReaderName(BSTR* name) noexcept override;
    STDMETHODIMP GetSupportedKeys(ITKCFConstStringList** keys) noexcept override;
    // None without a MIME dictionary.
    STDMETHODIMP GetSupportedMimeTypes(ITKCFConstStringList** mimeTypes) noexcept override;
    // As DetectMimeType.
    STDMETHODIMP CanExtract(IStream* stream) noexcept override;
    // Fails as `keys` does, or as DetectMimeType; then `metaData` is unchanged.
    STDMETHODIMP Extract(ITKCFConstStringList* keys, IStream* stream, ITKDSMetaData* metaData) noexcept override;
};

}  // namespace dataservices
