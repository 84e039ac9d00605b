// Class TKDSUriAccessFactory.
//
// Threads: any, several at once.
#pragma once

#include "TKDataServices.h"
#include "framework/com/CComObjectBase.h"

namespace dataservices {

class CUriAccessFactory final : public framework::CComObjectBase<ITKDSUriAccessFactory> {
public:
    // ITKDSUriAccessFactory
    // Results: those of FindPlace and OpenPlaceAs.
    STDMETHODIMP OpenUriAs(BSTR uri, BSTR accessorId, VARIANT* accessor) noexcept override;
};

}  // namespace dataservices
