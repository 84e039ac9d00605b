// What is known of an object. The property set that it hands out is always the same, and shows what is put in later.
//
// Threads: one at a time.
#pragma once

#include "dataservices/com/CErrorReporting.h"
#include "dataservices/com/OwnObjects.h"
#include "dataservices/properties/CPropertySet.h"

#include <wrl/client.h>

namespace dataservices {

class CMetaData final : public CServiceObject<IOwnMetaData, ITKDSMetaData> {
public:
    [[nodiscard]] HRESULT FinalConstruct() noexcept;

    // ITKDSMetaData
    STDMETHODIMP GetGeneralMetaData(ITKCFPropertySet** propertySet) noexcept override;

    // IOwnMetaData
    STDMETHODIMP PutText(const wchar_t* key, const wchar_t* text) noexcept override;

private:
    Microsoft::WRL::ComPtr<CPropertySet> m_properties;
};

}  // namespace dataservices
