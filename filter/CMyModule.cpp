#include "filter/CMyModule.h"

#include "base/ComBoundary.h"

#include <wrl/client.h>

CMyModule::~CMyModule() {
    Microsoft::WRL::ComPtr<IGlobalInterfaceTable> last;
    *last.GetAddressOf() =
        m_git.exchange(nullptr);  // not Attach: some compilers' ComPtr takes a reference of its own there
}

LONG CMyModule::Lock() noexcept {
    return ::InterlockedIncrement(&m_lockCount);
}

LONG CMyModule::Unlock() noexcept {
    return ::InterlockedDecrement(&m_lockCount);
}

LONG CMyModule::GetLockCount() noexcept {
    return ::InterlockedCompareExchange(&m_lockCount, 0, 0);
}

HRESULT CMyModule::GetGITPtr(IGlobalInterfaceTable** table) noexcept {
    if (!table)
        return E_POINTER;
    *table = nullptr;
    IGlobalInterfaceTable* cached = m_git.load();
    if (!cached) {
        Microsoft::WRL::ComPtr<IGlobalInterfaceTable> created;
        if (const HRESULT hr = ::CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                                                  IID_PPV_ARGS(&created));
            FAILED(hr))
            return hr;
        // Two threads may come here at once; the first one's pointer stays.
        if (m_git.compare_exchange_strong(cached, created.Get()))
            cached = created.Detach();
    }
    cached->AddRef();
    *table = cached;
    return S_OK;
}

HRESULT CMyModule::AddCommonRGSReplacements(IRegistrarBase* registrar) noexcept {
    if (!registrar)
        return E_POINTER;
    return base::ComBoundary([&] { return registrar->AddReplacement(L"APPID", L""); });
}
