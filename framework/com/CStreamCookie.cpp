#include "framework/com/CStreamCookie.h"

#include "framework/com/GlobalInterfaceTable.h"

#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

CStreamCookie::~CStreamCookie() {
    Revoke();
}

HRESULT CStreamCookie::Attach(IStream* stream) noexcept {
    if (!stream)
        return S_OK;
    HRESULT hr = Revoke();
    if (FAILED(hr))
        return hr;

    ComPtr<IGlobalInterfaceTable> table;
    hr = TKFGetGlobalInterfaceTable(&table);
    if (FAILED(hr))
        return hr;
    DWORD cookie = 0;
    hr = table->RegisterInterfaceInGlobal(stream, __uuidof(IStream), &cookie);
    if (SUCCEEDED(hr))
        m_cookie = cookie;
    return hr;
}

HRESULT CStreamCookie::CopyTo(IStream** stream) const noexcept {
    if (!stream)
        return E_POINTER;
    *stream = nullptr;
    ComPtr<IGlobalInterfaceTable> table;
    const HRESULT hr = TKFGetGlobalInterfaceTable(&table);
    if (FAILED(hr))
        return hr;
    return table->GetInterfaceFromGlobal(m_cookie, __uuidof(IStream), reinterpret_cast<void**>(stream));
}

HRESULT CStreamCookie::Revoke() noexcept {
    if (m_cookie == 0)
        return S_OK;
    ComPtr<IGlobalInterfaceTable> table;
    HRESULT hr = TKFGetGlobalInterfaceTable(&table);
    if (FAILED(hr))
        return hr;
    hr = table->RevokeInterfaceFromGlobal(m_cookie);
    if (SUCCEEDED(hr))
        m_cookie = 0;
    return hr;
}
