// What the DLL shares among its objects: one pointer to the process's Global Interface Table, and a lock count.
//
// Threads: any.  Lifetime: one static object; what it caches is released when the DLL is unloaded.
#pragma once

#include <windows.h>

#include <objidl.h>

#include <atomic>

// The part of the platform's script registrar that a module gives its replacements to.
struct IRegistrarBase : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR key, LPCOLESTR item) = 0;
    virtual HRESULT STDMETHODCALLTYPE ClearReplacements() = 0;
};

class CMyModule {
public:
    CMyModule() noexcept = default;
    CMyModule(const CMyModule&) = delete;
    CMyModule& operator=(const CMyModule&) = delete;
    virtual ~CMyModule();

    // Both return the new count.
    virtual LONG Lock() noexcept;
    virtual LONG Unlock() noexcept;
    virtual LONG GetLockCount() noexcept;

    // The table with a reference; made at first use and kept. A failure keeps nothing, so the next call tries again.
    // E_POINTER: `table` is null.
    virtual HRESULT GetGITPtr(IGlobalInterfaceTable** table) noexcept;

    // "APPID" with an empty value. This DLL registers itself without scripts; a host that runs one needs the
    // replacement. E_POINTER: `registrar` is null.
    virtual HRESULT AddCommonRGSReplacements(IRegistrarBase* registrar) noexcept;

private:
    LONG m_lockCount = 0;
    std::atomic<IGlobalInterfaceTable*> m_git{nullptr};
};
