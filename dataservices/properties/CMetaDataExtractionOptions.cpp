#include "dataservices/properties/CMetaDataExtractionOptions.h"

#include "dataservices/com/ComMethod.h"
#include "dataservices/properties/CMetaData.h"

namespace dataservices {

HRESULT CMetaDataExtractionOptions::CreateMetaData(ITKDSMetaData** metaData) noexcept {
    return ComMethod<ITKDSMetaDataExtractionOptions>(metaData, [&] { return GiveNew<CMetaData>(metaData); });
}

}  // namespace dataservices
