#include "framework/com/CStreamCookie.h"

#include "base/ForeignCalls.h"
#include "framework/com/GlobalInterfaceTable.h"

#include <wrl/client.h>

namespace framework {

using Microsoft::WRL::ComPtr;

namespace {

// The class that unmarshals what the free-threaded marshaler has marshalled, the same on Windows and Wine. (What the
// compiler's headers call CLSID_InProcFreeMarshaler is another one.)
constexpr CLSID kInProcFreeMarshaler = {0x0000033A, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

bool IsFreeThreaded(IStream* stream) noexcept {
    const HRESULT hr = base::ComBoundary([&]() -> HRESULT {
        ComPtr<IMarshal> marshal;
        CLSID unmarshaler{};
        return SUCCEEDED(base::QueryFor(*stream, marshal.GetAddressOf())) &&
                       SUCCEEDED(marshal->GetUnmarshalClass(__uuidof(IStream), stream, MSHCTX_INPROC, nullptr,
                                                            MSHLFLAGS_TABLESTRONG, &unmarshaler)) &&
                       unmarshaler == kInProcFreeMarshaler
                   ? S_OK
                   : S_FALSE;
    });
    return hr == S_OK;
}

}  // namespace

CStreamCookie::~CStreamCookie() {
    Revoke();
}

HRESULT CStreamCookie::Attach(IStream* stream) noexcept {
    if (!stream)
        return S_OK;
    if (const HRESULT hr = Revoke(); FAILED(hr))
        return hr;
    ComPtr<IGlobalInterfaceTable> table;
    if (const HRESULT hr = TKFGetGlobalInterfaceTable(&table); FAILED(hr))
        return hr;
    // The stream is foreign: it is asked for its interfaces here, and may throw.
    return base::ComBoundary([&] {
        // Our own query comes first, so that an exception of the stream has no frames of the platform to cross.
        ComPtr<IStream> checked;
        if (const HRESULT asked = base::QueryFor(*stream, checked.GetAddressOf()); FAILED(asked))
            return asked;
        DWORD cookie = 0;
        const HRESULT registered = table->RegisterInterfaceInGlobal(stream, __uuidof(IStream), &cookie);
        if (FAILED(registered))
            return registered;
        m_cookie = cookie;
        if (IsFreeThreaded(stream))
            m_freeThreaded = stream;
        return registered;
    });
}

HRESULT CStreamCookie::CopyTo(IStream** stream) const noexcept {
    if (!stream)
        return E_POINTER;
    *stream = nullptr;
    if (m_freeThreaded)
        return m_freeThreaded.CopyTo(stream);
    ComPtr<IGlobalInterfaceTable> table;
    if (const HRESULT hr = TKFGetGlobalInterfaceTable(&table); FAILED(hr))
        return hr;
    // The table queries the stream once more. It passes on the stream's answer, and what a failing query has written.
    void* answer = nullptr;
    const HRESULT fetched = table->GetInterfaceFromGlobal(m_cookie, __uuidof(IStream), &answer);
    if (FAILED(fetched))
        return fetched;
    *stream = static_cast<IStream*>(answer);
    return answer ? fetched : E_POINTER;
}

HRESULT CStreamCookie::Clone(ComPtr<IStream>& clone) const noexcept {
    const HRESULT hr = Call([&](IStream& stream) { return base::ReceiveAny(clone, &stream, &IStream::Clone); });
    return SUCCEEDED(hr) && !clone ? E_UNEXPECTED : hr;
}

HRESULT CStreamCookie::Revoke() noexcept {
    if (m_cookie == 0)
        return S_OK;
    ComPtr<IGlobalInterfaceTable> table;
    if (const HRESULT hr = TKFGetGlobalInterfaceTable(&table); FAILED(hr))
        return hr;
    const HRESULT hr = table->RevokeInterfaceFromGlobal(m_cookie);
    if (FAILED(hr))
        return hr;
    m_cookie = 0;
    m_freeThreaded.Reset();
    return hr;
}

}  // namespace framework
