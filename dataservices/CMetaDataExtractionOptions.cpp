#include "dataservices/CMetaDataExtractionOptions.h"

#include "dataservices/CMetaData.h"
#include "dataservices/ComMethod.h"

HRESULT CMetaDataExtractionOptions::CreateMetaData(ITKDSMetaData** metaData) noexcept {
    return ComMethod(metaData, [&] { return GiveNew<CMetaData>(metaData); });
}
