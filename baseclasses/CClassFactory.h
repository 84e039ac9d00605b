// The class factory of one row of the module's table.
//
// Lifetime: counted from 1. A living factory, and a locked one, keep the module loaded.  Threads: any.
#pragma once

#include "baseclasses/CBaseObject.h"
#include "baseclasses/CFactoryTemplate.h"

#include <atomic>

class CClassFactory final : public IClassFactory, private CBaseObject {
public:
    // `factoryTemplate` outlives the factory.
    explicit CClassFactory(const CFactoryTemplate& factoryTemplate) noexcept;
    virtual ~CClassFactory() = default;

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override;
    STDMETHODIMP_(ULONG) Release() noexcept override;

    // IClassFactory
    // E_NOINTERFACE: not an interface of the object, or one other than IUnknown for an aggregated object.
    // E_OUTOFMEMORY: there was no object. Otherwise the failure that the object's constructor reported.
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** ppv) noexcept override;
    STDMETHODIMP LockServer(BOOL lock) noexcept override;

    // Whether any factory of the module is locked.
    [[nodiscard]] static bool IsLocked() noexcept;

private:
    const CFactoryTemplate& m_template;
    std::atomic<ULONG> m_references{1};
};
