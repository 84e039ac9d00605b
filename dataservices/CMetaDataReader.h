// Class TKDSMetaDataReader: the MIME type of a content, and where it came from, as far as the stream's own name says.
//
// Threads: one at a time.
#pragma once

#include "framework/com/CComObjectBase.h"

#include "TKDataServices.h"

class CMetaDataReader final : public CComObjectBase<ITKDSMetaDataReader> {
public:
    // ITKDSMetaDataReader
    STDMETHODIMP GetReaderName(BSTR* name) noexcept override;
    STDMETHODIMP GetSupportedKeys(ITKCFConstStringList** keys) noexcept override;
    // None without a MIME dictionary.
    STDMETHODIMP GetSupportedMimeTypes(ITKCFConstStringList** mimeTypes) noexcept override;
    // STG_E_READFAULT: the stream failed.
    STDMETHODIMP CanExtract(IStream* stream) noexcept override;
    // STG_E_READFAULT: the stream failed; `metaData` is as it was. Otherwise the failure of `keys`.
    STDMETHODIMP Extract(ITKCFConstStringList* keys, IStream* stream, ITKDSMetaData* metaData) noexcept override;
};
