#include "baseclasses/CClassFactory.h"

#include "base/ComBoundary.h"

#include <memory>
#include <new>

namespace {
constinit std::atomic<LONG> g_locks{0};
}

CClassFactory::CClassFactory(const CFactoryTemplate& factoryTemplate) noexcept
    : CBaseObject(L"Class factory"), m_template(factoryTemplate) {}

STDMETHODIMP CClassFactory::QueryInterface(REFIID riid, void** ppv) noexcept {
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    if (riid != __uuidof(IUnknown) && riid != __uuidof(IClassFactory))
        return E_NOINTERFACE;
    return GetInterface(this, ppv);
}

STDMETHODIMP_(ULONG) CClassFactory::AddRef() noexcept {
    return ++m_references;
}

STDMETHODIMP_(ULONG) CClassFactory::Release() noexcept {
    const ULONG left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

STDMETHODIMP CClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** ppv) noexcept {
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    if (outer && riid != __uuidof(IUnknown))
        return E_NOINTERFACE;
    return base::ComBoundary([&]() -> HRESULT {
        HRESULT hr = S_OK;
        std::unique_ptr<CUnknown> object{m_template.m_lpfnNew(outer, &hr)};
        if (FAILED(hr))
            return hr;
        if (!object)
            return E_OUTOFMEMORY;
        // From here on the object is owned by its count: this release deletes it if the interface isn't there.
        CUnknown* const counted = object.release();
        counted->NonDelegatingAddRef();
        hr = counted->NonDelegatingQueryInterface(riid, ppv);
        counted->NonDelegatingRelease();
        return hr;
    });
}

STDMETHODIMP CClassFactory::LockServer(BOOL lock) noexcept {
    if (lock) {
        ++g_locks;
        return S_OK;
    }
    // A host that unlocks once too often must not undo another one's lock.
    LONG held = g_locks;
    while (held > 0 && !g_locks.compare_exchange_weak(held, held - 1)) {
    }
    return S_OK;
}

bool CClassFactory::IsLocked() noexcept {
    return g_locks != 0;
}
