// The base of a COM object with two interfaces, neither of which derives from the other. Everything else, threads
// included, is as in CComObjectBase.
#pragma once

#include "framework/com/CComObjectBase.h"

namespace dataservices {

template <class First, class Second>
class CTwoInterfaceObject : public framework::CComObjectBase<First>, public Second {
public:
    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        if (iid != __uuidof(Second))
            return framework::CComObjectBase<First>::QueryInterface(iid, object);
        if (!object)
            return E_POINTER;
        *object = static_cast<Second*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return framework::CComObjectBase<First>::AddRef(); }
    STDMETHODIMP_(ULONG) Release() noexcept override { return framework::CComObjectBase<First>::Release(); }
};

}  // namespace dataservices
