// Class TKDSVirtualDirectoryFactory.
//
// Threads: any, several at once.
#pragma once

#include "TKDataServices.h"
#include "dataservices/com/CErrorReporting.h"

namespace dataservices {

class CVirtualDirectoryFactory final : public CServiceObject<ITKDSVirtualDirectoryFactory> {
public:
    // ITKDSVirtualDirectoryFactory
    STDMETHODIMP CreateVirtualDirectory(ITKDSVirtualDirectory** directory) noexcept override;
    STDMETHODIMP CreateVirtualDirectoryItemFromUri(BSTR uri, ITKDSVirtualDirectoryItem** item) noexcept override;
};

}  // namespace dataservices
