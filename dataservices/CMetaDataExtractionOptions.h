// Class TKDSMetaDataExtractionOptions.
//
// Threads: any, several at once.
#pragma once

#include "framework/com/CComObjectBase.h"

#include "TKDataServices.h"

class CMetaDataExtractionOptions final : public CComObjectBase<ITKDSMetaDataExtractionOptions> {
public:
    // ITKDSMetaDataExtractionOptions
    STDMETHODIMP CreateMetaData(ITKDSMetaData** metaData) noexcept override;
};
