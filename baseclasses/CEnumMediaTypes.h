// Enumerates the media types that a pin prefers, by asking its GetMediaType() for one position after the other.
//
// Lifetime: keeps the pin, and so its filter, alive.  Threads: one call at a time.
// When the pin's type version has changed, every method but Reset answers VFW_E_ENUM_OUT_OF_SYNC, moves nowhere and
// hands nothing out.
#pragma once

#include "baseclasses/CEnumerator.h"

#include <wrl/client.h>

class CBasePin;

class CEnumMediaTypes final : public CEnumerator<IEnumMediaTypes> {
public:
    // Starts where `other` stands, or at the first type of `pin` if `other` is null.
    explicit CEnumMediaTypes(CBasePin* pin, const CEnumMediaTypes* other = nullptr) noexcept;

    // IEnumMediaTypes
    // Hands out deep copies, which the caller frees with DeleteMediaType.
    // S_FALSE: there were fewer types than asked for.  E_POINTER: `types` is null.
    // E_INVALIDARG: `fetched` is null and `count` is not 1.  E_OUTOFMEMORY: nothing is handed out.
    STDMETHODIMP Next(ULONG count, AM_MEDIA_TYPE** types, ULONG* fetched) noexcept override;
    // S_FALSE: there were fewer types than that; the enumerator is at the end.
    STDMETHODIMP Skip(ULONG count) noexcept override;
    // Back to the first type, and in step with the pin again.
    STDMETHODIMP Reset() noexcept override;
    STDMETHODIMP Clone(IEnumMediaTypes** enumerator) noexcept override;

private:
    [[nodiscard]] bool IsOutOfSync() const noexcept;

    const Microsoft::WRL::ComPtr<CBasePin> m_pin;
    int m_position = 0;
    LONG m_version;
};
