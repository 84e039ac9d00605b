// The base of the framework's COM objects: an interlocked reference count, an interface list and the free-threaded
// marshaler.
//
//   class CThing final : public CComObjectBase<IStream, ISequentialStream> { ... };
//
//   ComPtr<CThing> thing;
//   HRESULT hr = MakeComObject<CThing>(&thing, argument);
//
// `Primary` is the interface that the class derives from; `Also` are the interfaces that `Primary` itself derives from
// and that are answered too. QueryInterface answers IUnknown, these, and IMarshal.
//
// Threads: the count may be changed from any thread, and the interface pointer may be passed to any thread of the
// process without marshalling. Whether two threads may call at once is the derived class's matter.
// Lifetime: on the heap only, and only by MakeComObject. The count starts at one, which the maker owns. The module
// counts as in use while the object lives, so that a stream that a stranger still holds keeps its code.
#pragma once

#include "base/ComBoundary.h"
#include "baseclasses/CBaseObject.h"

#include <windows.h>

#include <objbase.h>
#include <objidl.h>
#include <wrl/client.h>

#include <atomic>
#include <new>
#include <utility>

namespace framework {

template <class Primary, class... Also>
class CComObjectBase : public Primary, private CBaseObject {
public:
    CComObjectBase(const CComObjectBase&) = delete;
    CComObjectBase& operator=(const CComObjectBase&) = delete;

    // The part of creation that may fail; MakeComObject calls it after the constructor. A derived class that has more
    // to do hides this function by its own, which calls this one first.
    [[nodiscard]] HRESULT FinalConstruct() noexcept {
        return ::CoCreateFreeThreadedMarshaler(static_cast<Primary*>(this), &m_marshaler);
    }

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        if (iid == __uuidof(IMarshal))
            return m_marshaler ? m_marshaler->QueryInterface(iid, object) : E_NOINTERFACE;
        if (!Answer<IUnknown>(iid, object) && !Answer<Primary>(iid, object) && !(... || Answer<Also>(iid, object)))
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    STDMETHODIMP_(ULONG) AddRef() noexcept override { return m_references.fetch_add(1) + 1; }

    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG left = m_references.fetch_sub(1) - 1;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    CComObjectBase() noexcept : CBaseObject(L"COM object of the framework") {}
    virtual ~CComObjectBase() = default;

private:
    template <class Interface>
    bool Answer(REFIID iid, void** object) noexcept {
        if (iid != __uuidof(Interface))
            return false;
        *object = static_cast<Interface*>(static_cast<Primary*>(this));
        return true;
    }

    std::atomic<ULONG> m_references{1};
    Microsoft::WRL::ComPtr<IUnknown> m_marshaler;
};

// Makes a T and hands it out with one reference. On failure `*object` is null.
//
// E_OUTOFMEMORY: no memory for it.  Otherwise the result of T's FinalConstruct, or that of the exception that its
// constructor threw.
template <class T, class... Arguments>
[[nodiscard]] HRESULT MakeComObject(T** object, Arguments&&... arguments) noexcept {
    *object = nullptr;
    return base::ComBoundary([&]() -> HRESULT {
        Microsoft::WRL::ComPtr<T> made;
        // Not Attach: some compilers' ComPtr takes a reference of its own there.
        *made.GetAddressOf() = new (std::nothrow) T(std::forward<Arguments>(arguments)...);
        if (!made)
            return E_OUTOFMEMORY;
        const HRESULT hr = made->FinalConstruct();
        if (SUCCEEDED(hr))
            *object = made.Detach();
        return hr;
    });
}

}  // namespace framework
