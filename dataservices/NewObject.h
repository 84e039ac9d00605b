// Class factories for the framework's objects, which are no CUnknown: NewObject<T> is what a row of g_Templates calls.
//
// Threads: any.
#pragma once

#include "baseclasses/CUnknown.h"
#include "framework/com/CComObjectBase.h"

#include <wrl/client.h>

#include <new>

namespace dataservices {

// Stands for a T while the class factory asks it for an interface, and is deleted afterwards.
template <class T>
class CNewObject final : public CUnknown {
public:
    // CLASS_E_NOAGGREGATION in `*phr`: there is an `outer`; the framework's objects can't be a part of another one.
    CNewObject(IUnknown* outer, HRESULT* phr) noexcept : CUnknown(L"New object", nullptr) {
        const HRESULT hr = outer ? CLASS_E_NOAGGREGATION : framework::MakeComObject<T>(m_object.GetAddressOf());
        if (FAILED(hr))
            *phr = hr;
    }

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
        return m_object->QueryInterface(riid, ppv);
    }

private:
    Microsoft::WRL::ComPtr<T> m_object;
};

template <class T>
CUnknown* CALLBACK NewObject(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) CNewObject<T>(outer, phr);
}

}  // namespace dataservices
