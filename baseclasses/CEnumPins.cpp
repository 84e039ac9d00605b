#include "baseclasses/CEnumPins.h"

#include "baseclasses/CBaseFilter.h"
#include "baseclasses/CBasePin.h"

#include <new>
#include <utility>

CEnumPins::CEnumPins(CBaseFilter* filter, const CEnumPins* other) noexcept
    : m_filter(filter),
      m_position(other ? other->m_position : 0),
      m_version(other ? other->m_version : filter->GetPinVersion()) {}

STDMETHODIMP CEnumPins::Next(ULONG count, IPin** pins, ULONG* fetched) noexcept {
    if (fetched)
        *fetched = 0;
    if (!pins)
        return E_POINTER;
    if (!fetched && count != 1)
        return E_INVALIDARG;
    if (IsOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;

    const int pinCount = m_filter->GetPinCount();
    ULONG done = 0;
    while (done < count && m_position + static_cast<int>(done) < pinCount) {
        CBasePin* const pin = m_filter->GetPin(m_position + static_cast<int>(done));
        if (!pin) {
            // The filter lost a pin since it was counted.
            while (done > 0)
                std::exchange(pins[--done], nullptr)->Release();
            return VFW_E_ENUM_OUT_OF_SYNC;
        }
        pin->AddRef();
        pins[done++] = pin;
    }
    m_position += static_cast<int>(done);
    if (fetched)
        *fetched = done;
    return done == count ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumPins::Skip(ULONG count) noexcept {
    if (IsOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    const int left = m_filter->GetPinCount() - m_position;
    if (left < 0 || count > static_cast<ULONG>(left)) {
        m_position += left;
        return S_FALSE;
    }
    m_position += static_cast<int>(count);
    return S_OK;
}

STDMETHODIMP CEnumPins::Reset() noexcept {
    m_position = 0;
    m_version = m_filter->GetPinVersion();
    return S_OK;
}

STDMETHODIMP CEnumPins::Clone(IEnumPins** enumerator) noexcept {
    if (!enumerator)
        return E_POINTER;
    *enumerator = nullptr;
    if (IsOutOfSync())
        return VFW_E_ENUM_OUT_OF_SYNC;
    *enumerator = new (std::nothrow) CEnumPins(m_filter.Get(), this);
    return *enumerator ? S_OK : E_OUTOFMEMORY;
}

bool CEnumPins::IsOutOfSync() const noexcept {
    return m_version != m_filter->GetPinVersion();
}
