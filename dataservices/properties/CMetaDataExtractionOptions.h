// Class TKDSMetaDataExtractionOptions.
//
// Threads: any, several at once.
#pragma once

#include "TKDataServices.h"
#include "dataservices/com/CErrorReporting.h"

namespace dataservices {

class CMetaDataExtractionOptions final : public CServiceObject<ITKDSMetaDataExtractionOptions> {
public:
    // ITKDSMetaDataExtractionOptions
    STDMETHODIMP CreateMetaData(ITKDSMetaData** metaData) noexcept override;
};

}  // namespace dataservices
