#include "filter/CNetworkStatus.h"

#include <algorithm>
#include <limits>

namespace filter {

namespace {

constexpr auto kUnknown = std::numeric_limits<MIDL_uhyper>::max();

}  // namespace

STDMETHODIMP CNetworkStatus::GetTypeInfoCount(UINT* count) {
    if (!count)
        return E_POINTER;
    *count = 0;
    return S_OK;
}

STDMETHODIMP CNetworkStatus::get_BufferingCount(LONG* count) {
    if (!count)
        return E_POINTER;
    TKDS_SOURCE_STATUS status{};
    if (const HRESULT hr = GetSourceStatus(&status); FAILED(hr))
        return hr;
    *count = static_cast<LONG>(std::min<MIDL_uhyper>(status.stalls, std::numeric_limits<LONG>::max()));
    return S_OK;
}

STDMETHODIMP CNetworkStatus::get_IsBroadcast(VARIANT_BOOL* isBroadcast) {
    if (!isBroadcast)
        return E_POINTER;
    TKDS_SOURCE_STATUS status{};
    if (const HRESULT hr = GetSourceStatus(&status); FAILED(hr))
        return hr;
    *isBroadcast = status.length == kUnknown ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

STDMETHODIMP CNetworkStatus::get_BufferingProgress(LONG* percent) {
    if (!percent)
        return E_POINTER;
    TKDS_SOURCE_STATUS status{};
    if (const HRESULT hr = GetSourceStatus(&status); FAILED(hr))
        return hr;
    const double whole = static_cast<double>(status.ahead) + static_cast<double>(status.wanted);
    *percent = status.wanted == 0 ? 100 : static_cast<LONG>(100 * (static_cast<double>(status.ahead) / whole));
    return S_OK;
}

}  // namespace filter
