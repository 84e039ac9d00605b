#include "baseclasses/CEnumMediaTypes.h"

#include "baseclasses/CBasePin.h"

#include <new>
#include <utility>

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pin, const CEnumMediaTypes* other) noexcept
    : m_pin(pin),
      m_position(other ? other->m_position : 0),
      m_version(other ? other->m_version : pin->GetMediaTypeVersion()) {}

STDMETHODIMP CEnumMediaTypes::Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) noexcept {
    if (fetched)
        *fetched = 0;
    if (!types)
        return E_POINTER;
    if (!fetched && count != 1)
        return E_INVALIDARG;

    if (IsOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    HRESULT hr = S_OK;
    ULONG done = 0;
    while (done < count) {
        CMediaType type;
        if (m_pin->GetMediaType(m_position + static_cast<int>(done), &type) != S_OK)
            break;
        types[done] = CreateMediaType(&type);
        if (!types[done]) {
            hr = E_OUTOFMEMORY;
            break;
        }
        ++done;
    }
    // The list may have changed between two calls of GetMediaType; then what was fetched belongs to no single list.
    if (SUCCEEDED(hr) && IsOutOfSync())
        hr = VFW_E_ENUM_OUT_OF_SYNC;
    if (FAILED(hr)) {
        while (done > 0)
            DeleteMediaType(std::exchange(types[--done], nullptr));
        return hr;
    }
    m_position += static_cast<int>(done);
    if (fetched)
        *fetched = done;
    return done == count ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumMediaTypes::Skip(ULONG count) noexcept {
    if (IsOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    for (ULONG skipped = 0; skipped < count; ++skipped) {
        CMediaType type;
        if (m_pin->GetMediaType(m_position, &type) != S_OK)
            return S_FALSE;
        ++m_position;
    }
    return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Reset() noexcept {
    m_position = 0;
    m_version = m_pin->GetMediaTypeVersion();
    return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Clone(IEnumMediaTypes** enumerator) noexcept {
    if (!enumerator)
        return E_POINTER;
    *enumerator = nullptr;
    if (IsOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    *enumerator = new (std::nothrow) CEnumMediaTypes(m_pin.Get(), this);
    return *enumerator ? S_OK : E_OUTOFMEMORY;
}

bool CEnumMediaTypes::IsOutOfSync() const noexcept {
    return m_version != m_pin->GetMediaTypeVersion();
}
