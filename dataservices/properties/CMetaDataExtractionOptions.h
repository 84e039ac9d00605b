// Class TKDSMetaDataExtractionOptions.
//
// Threads: any, several at once.
#pragma once

#include "TKDataServices.h"
#include "framework/com/CComObjectBase.h"

namespace dataservices {

class CMetaDataExtractionOptions final : public framework::CComObjectBase<ITKDSMetaDataExtractionOptions> {
public:
    // ITKDSMetaDataExtractionOptions
    STDMETHODIMP CreateMetaData(ITKDSMetaData** metaData) noexcept override;
};

}  // namespace dataservices
