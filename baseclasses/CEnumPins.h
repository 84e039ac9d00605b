// Enumerates the pins of a filter.
//
// Lifetime: keeps the filter alive.  Threads: one call at a time.
// When the filter's pin version has changed, every method but Reset answers VFW_E_ENUM_OUT_OF_SYNC and does nothing.
#pragma once

#include "baseclasses/CEnumerator.h"

#include <wrl/client.h>

class CBaseFilter;

class CEnumPins final : public CEnumerator<IEnumPins> {
public:
    // Starts where `other` stands, or at the first pin of `filter` if `other` is null.
    explicit CEnumPins(CBaseFilter* filter, const CEnumPins* other = nullptr) noexcept;

    // IEnumPins
    // S_FALSE: there were fewer pins than asked for.  E_POINTER: `pins` is null.
    // E_INVALIDARG: `fetched` is null and `count` is not 1.
    STDMETHODIMP Next(ULONG count, IPin** pins, ULONG* fetched) noexcept override;
    // S_FALSE: there were fewer pins than that; the enumerator is at the end.
    STDMETHODIMP Skip(ULONG count) noexcept override;
    // Back to the first pin, and in step with the filter again.
    STDMETHODIMP Reset() noexcept override;
    STDMETHODIMP Clone(IEnumPins** enumerator) noexcept override;

private:
    [[nodiscard]] bool IsOutOfSync() const noexcept;

    const Microsoft::WRL::ComPtr<CBaseFilter> m_filter;
    int m_position = 0;
    LONG m_version;
};
