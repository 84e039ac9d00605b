// The base of a COM object with two interfaces, neither of which derives from the other. Everything else, threads
// included, is as in CServiceObject.
#pragma once

#include "dataservices/com/CErrorReporting.h"

namespace dataservices {

template <class First, class Second>
class CTwoInterfaceObject : public CErrorReporting<framework::CComObjectBase<First>, First, Second>, public Second {
    using Base = CErrorReporting<framework::CComObjectBase<First>, First, Second>;

public:
    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        if (iid != __uuidof(Second))
            return Base::QueryInterface(iid, object);
        if (!object)
            return E_POINTER;
        *object = static_cast<Second*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return Base::AddRef(); }
    STDMETHODIMP_(ULONG) Release() noexcept override { return Base::Release(); }
};

}  // namespace dataservices
