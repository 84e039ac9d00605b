// The properties of an object: texts by their keys, in the order in which they came. Keys are compared character by
// character.
//
// Threads: one at a time, together with the metadata that it belongs to.
#pragma once

#include "TKDataServices.h"
#include "dataservices/com/CErrorReporting.h"

#include <string>
#include <vector>

namespace dataservices {

class CPropertySet final : public CServiceObject<ITKCFPropertySet> {
public:
    // Replaces the value of `key`.  Errors: std::bad_alloc; then nothing has changed.
    void Put(std::wstring key, std::wstring value);

    // ITKCFPropertySet
    STDMETHODIMP GetCount(long* count) noexcept override;
    STDMETHODIMP GetKey(long index, BSTR* key) noexcept override;
    STDMETHODIMP GetValue(BSTR key, VARIANT* value) noexcept override;

private:
    struct Property {
        std::wstring key;
        std::wstring value;
    };
    std::vector<Property> m_properties;
};

}  // namespace dataservices
