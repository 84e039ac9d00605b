#include "dataservices/properties/CMetaData.h"

#include "dataservices/com/ComMethod.h"

namespace dataservices {

HRESULT CMetaData::FinalConstruct() noexcept {
    const HRESULT hr = CComObjectBase::FinalConstruct();
    return FAILED(hr) ? hr : framework::MakeComObject<CPropertySet>(m_properties.GetAddressOf());
}

HRESULT CMetaData::GetGeneralMetaData(ITKCFPropertySet** propertySet) noexcept {
    return ComMethod<ITKDSMetaData>(propertySet, [&] {
        *propertySet = Microsoft::WRL::ComPtr<ITKCFPropertySet>(m_properties).Detach();
        return S_OK;
    });
}

HRESULT CMetaData::PutText(const wchar_t* key, const wchar_t* text) noexcept {
    return ComMethod<IOwnMetaData>([&] {
        m_properties->Put(key, text);
        return S_OK;
    });
}

}  // namespace dataservices
