#include "baseclasses/CUnknown.h"

CUnknown::CUnknown(const wchar_t* name, IUnknown* outer) noexcept
    : CBaseObject(name), m_owner(outer ? outer : &m_self) {}

STDMETHODIMP CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    return riid == __uuidof(IUnknown) ? GetInterface(&m_self, ppv) : E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingAddRef() {
    return ++m_references;
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingRelease() {
    const ULONG left = --m_references;
    if (left == 0) {
        // Keeps references that come and go during destruction from reaching zero a second time.
        ++m_references;
        delete this;
    }
    return left;
}

STDMETHODIMP CUnknown::COwnUnknown::QueryInterface(REFIID riid, void** ppv) {
    return m_object.NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP_(ULONG) CUnknown::COwnUnknown::AddRef() {
    return m_object.NonDelegatingAddRef();
}

STDMETHODIMP_(ULONG) CUnknown::COwnUnknown::Release() {
    return m_object.NonDelegatingRelease();
}

HRESULT GetInterface(IUnknown* unknown, void** ppv) noexcept {
    if (!ppv)
        return E_POINTER;
    *ppv = unknown;
    unknown->AddRef();
    return S_OK;
}
