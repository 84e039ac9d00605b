// Adds ISupportErrorInfo to an object whose methods leave error info for their callers, as ComMethod does. Without it
// callers don't trust the thread's error info, and a proxy leaves it behind.
//
//   class CThing final : public CServiceObject<ITKDSThing> { ... };
//
// `Base` has the reference count, `Reporting` are the interfaces of which all methods report. The others, such as
// IUnknown, give S_FALSE.
//
// Threads: any.
#pragma once

#include "framework/com/CComObjectBase.h"

#include <oaidl.h>

namespace dataservices {

template <class Base, class... Reporting>
class CErrorReporting : public Base, public ISupportErrorInfo {
public:
    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        if (iid != __uuidof(ISupportErrorInfo) || !object)
            return Base::QueryInterface(iid, object);
        *object = static_cast<ISupportErrorInfo*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return Base::AddRef(); }
    STDMETHODIMP_(ULONG) Release() noexcept override { return Base::Release(); }

    // ISupportErrorInfo
    STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) noexcept override {
        return (... || (iid == __uuidof(Reporting))) ? S_OK : S_FALSE;
    }
};

// The base of this layer's objects; see CComObjectBase for the interfaces.
template <class Primary, class... Also>
using CServiceObject = CErrorReporting<framework::CComObjectBase<Primary, Also...>, Primary, Also...>;

}  // namespace dataservices
