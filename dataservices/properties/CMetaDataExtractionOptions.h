// Class TKDSMetaDataExtractionOptions.
//
// Threads: any, several at once.
#pragma once

#include "framework/com/CComObjectBase.h"

#include "TKDataServices.h"

namespace dataservices {

class CMetaDataExtractionOptions final : public framework::CComObjectBase<ITKDSMetaDataExtractionOptions> {
public:
    // ITKDSMetaDataExtractionOptions
    STDMETHODIMP CreateMetaData(ITKDSMetaData** metaData) noexcept override;
};

}  // namespace dataservices
