// Class TKDSUriAccessFactory.
//
// Threads: any, several at once.
#pragma once

#include "TKDataServices.h"
#include "base/CSlimLock.h"
#include "dataservices/SourceOptions.h"
#include "dataservices/com/CTwoInterfaceObject.h"

namespace dataservices {

class CUriAccessFactory final : public CTwoInterfaceObject<ITKDSUriAccessFactory, ITKDSSourceOptions> {
public:
    // ITKDSUriAccessFactory
    // Results: those of FindPlace and OpenPlaceAs.
    STDMETHODIMP OpenUriAs(BSTR uri, BSTR accessorId, VARIANT* accessor) noexcept override;

    // ITKDSSourceOptions
    STDMETHODIMP SetOption(BSTR name, VARIANT value) noexcept override;
    STDMETHODIMP GetOption(BSTR name, VARIANT* value) noexcept override;

private:
    [[nodiscard]] SharedOptions Options() const noexcept;

    mutable base::CSlimLock m_lock;  // guards the next; a leaf
    SharedOptions m_options = std::make_shared<const SourceOptions>();
};

}  // namespace dataservices
