// Class TKDSUriAccessFactory.
//
// Threads: any, several at once.
#pragma once

#include "framework/com/CComObjectBase.h"

#include "TKDataServices.h"

class CUriAccessFactory final : public CComObjectBase<ITKDSUriAccessFactory> {
public:
    // ITKDSUriAccessFactory
    // Results: those of FindLocation and OpenLocationAs.
    STDMETHODIMP OpenUriAs(BSTR uri, BSTR accessorId, VARIANT* accessor) noexcept override;
};
