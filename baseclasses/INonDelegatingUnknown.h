// The three methods of IUnknown under names of their own: what an object does for itself, as against what it passes on
// to the object that aggregates it.
#pragma once

#include <windows.h>

#include <objbase.h>

struct INonDelegatingUnknown {
    virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID riid, void** ppv) = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;

protected:
    ~INonDelegatingUnknown() = default;
};
