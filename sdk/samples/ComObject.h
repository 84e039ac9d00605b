// What a DLL of COM objects needs besides the objects: their interfaces and counts, a class factory, the DLL's exports.
//
//   class CThing final : public com::CObject<IThing> { ... };
//   STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, void** object) {
//       return com::GetClass<CThing>(CLSID_Thing, clsid, iid, object);
//   }
//   STDAPI DllCanUnloadNow() { return com::CanUnload(); }
//
// Threads: any.  Errors: HRESULT.  Lifetime: an object starts with one reference.
#pragma once

#include <windows.h>

#include <ole2.h>
#include <wrl/client.h>

#include <atomic>
#include <new>
#include <utility>

namespace com {

inline std::atomic<long> g_objects;  // that are there; the DLL stays as long

inline HRESULT CanUnload() noexcept {
    return g_objects == 0 ? S_OK : S_FALSE;
}

// An object with one interface. It has the free-threaded marshaler: every apartment calls it directly.
template <class Interface>
class CObject : public Interface {
public:
    CObject() {
        ++g_objects;
        ::CoCreateFreeThreadedMarshaler(this, &m_marshaler);
    }
    CObject(const CObject&) = delete;
    virtual ~CObject() { --g_objects; }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        if (iid == __uuidof(IMarshal) && m_marshaler)
            return m_marshaler->QueryInterface(iid, object);
        if (iid != __uuidof(IUnknown) && iid != __uuidof(Interface))
            return E_NOINTERFACE;
        *object = static_cast<Interface*>(this);
        return this->AddRef(), S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

private:
    std::atomic<ULONG> m_references{1};
    Microsoft::WRL::ComPtr<IUnknown> m_marshaler;
};

// Makes a `Class` and gives its interface `iid`, or nothing.
template <class Class, class... Arguments>
HRESULT Make(REFIID iid, void** object, Arguments&&... arguments) noexcept {
    *object = nullptr;
    Microsoft::WRL::ComPtr<Class> made;
    made.Attach(new (std::nothrow) Class(std::forward<Arguments>(arguments)...));
    return made ? made->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

template <class Class>
class CFactory final : public CObject<IClassFactory> {
public:
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept override {
        if (!object)
            return E_POINTER;
        *object = nullptr;
        return outer ? CLASS_E_NOAGGREGATION : Make<Class>(iid, object);
    }
    STDMETHODIMP LockServer(BOOL locks) noexcept override {
        g_objects += locks ? 1 : -1;
        return S_OK;
    }
};

// For DllGetClassObject: `own` is the class identifier of `Class`, `clsid` the one that is asked for.
template <class Class>
HRESULT GetClass(REFCLSID own, REFCLSID clsid, REFIID iid, void** object) noexcept {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    return clsid == own ? Make<CFactory<Class>>(iid, object) : CLASS_E_CLASSNOTAVAILABLE;
}

}  // namespace com
