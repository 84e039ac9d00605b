// Base of every COM object here that may be aggregated.
//
// A class derives from CUnknown and from its interfaces, states DECLARE_IUNKNOWN, and overrides
// NonDelegatingQueryInterface to answer for its interfaces:
//
//   if (riid == __uuidof(IThing)) return GetInterface(static_cast<IThing*>(this), ppv);
//   return CUnknown::NonDelegatingQueryInterface(riid, ppv);
//
// Lifetime: the count starts at 0; whoever creates the object adds the first reference. At the last release the object
// deletes itself, and references taken and given back while its destructor runs do not delete it again.
// Threads: counting from any thread.  Errors: a constructor that fails writes the reason to `*phr`; a success leaves
// `*phr` alone. Overrides let no exception out.
#pragma once

#include "baseclasses/CBaseObject.h"
#include "baseclasses/INonDelegatingUnknown.h"

#include <atomic>

class CUnknown : public INonDelegatingUnknown, public CBaseObject {
public:
    // `outer` aggregates this object, and is not counted: it outlives what it aggregates. Null: the object stands
    // alone.
    CUnknown(const wchar_t* name, IUnknown* outer) noexcept;
    virtual ~CUnknown() = default;

    // The unknown that all interfaces of the object delegate to. Never null; no reference is added.
    [[nodiscard]] IUnknown* GetOwner() const noexcept { return m_owner; }

    // IID_IUnknown gives the object's own unknown, which does not delegate.
    // E_POINTER: `ppv` is null.  E_NOINTERFACE: any other interface, and `*ppv` is null.
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

private:
    // What the outside sees as the object's own IUnknown.
    class COwnUnknown final : public IUnknown {
    public:
        explicit COwnUnknown(CUnknown& object) noexcept : m_object(object) {}
        STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
        STDMETHODIMP_(ULONG) AddRef() override;
        STDMETHODIMP_(ULONG) Release() override;

    private:
        CUnknown& m_object;
    };

    COwnUnknown m_self{*this};
    IUnknown* const m_owner;
    std::atomic<ULONG> m_references{0};
};

// Hands `unknown` out through `*ppv` with a reference.  E_POINTER: `ppv` is null.
HRESULT GetInterface(IUnknown* unknown, void** ppv) noexcept;

// The IUnknown methods of a class that derives from CUnknown and from at least one interface.
#define DECLARE_IUNKNOWN                               \
    STDMETHODIMP                                       \
    QueryInterface(REFIID riid, void** ppv) override { \
        return GetOwner()->QueryInterface(riid, ppv);  \
    }                                                  \
    STDMETHODIMP_(ULONG) AddRef() override {           \
        return GetOwner()->AddRef();                   \
    }                                                  \
    STDMETHODIMP_(ULONG) Release() override {          \
        return GetOwner()->Release();                  \
    }
