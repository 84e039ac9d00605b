// Class TKDSVirtualDirectoryFactory.
//
// Threads: any, several at once.
#pragma once

#include "TKDataServices.h"
#include "framework/com/CComObjectBase.h"

namespace dataservices {

class CVirtualDirectoryFactory final : public framework::CComObjectBase<ITKDSVirtualDirectoryFactory> {
public:
    // ITKDSVirtualDirectoryFactory
    STDMETHODIMP CreateVirtualDirectory(ITKDSVirtualDirectory** directory) noexcept override;
    STDMETHODIMP CreateVirtualDirectoryItemFromUri(BSTR uri, ITKDSVirtualDirectoryItem** item) noexcept override;
};

}  // namespace dataservices
