// The IUnknown of an enumerator: not aggregated, counted from 1.
#pragma once

#include "baseclasses/DirectShow.h"

#include <atomic>

template <class Interface>
class CEnumerator : public Interface {
public:
    CEnumerator() = default;
    CEnumerator(const CEnumerator&) = delete;
    CEnumerator& operator=(const CEnumerator&) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) noexcept final {
        if (!ppv)
            return E_POINTER;
        *ppv = nullptr;
        if (riid != __uuidof(Interface) && riid != __uuidof(IUnknown))
            return E_NOINTERFACE;
        *ppv = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept final { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() noexcept final {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    virtual ~CEnumerator() = default;

private:
    std::atomic<ULONG> m_references{1};
};
