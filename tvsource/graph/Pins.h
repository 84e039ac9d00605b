// Small questions about the pins and filters of a graph.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <strmif.h>
#include <wrl/client.h>

#include <string>
#include <vector>

namespace tvsource {

// More than any graph has, and any filter. An enumerator of a stranger may never end, and filters may be in a ring.
inline constexpr std::size_t kMostFilters = 1000, kMostPins = 1000;

// Throws CCommandError when the filter doesn't tell.
[[nodiscard]] std::vector<Microsoft::WRL::ComPtr<IPin>> PinsOf(IBaseFilter* filter, PIN_DIRECTION wanted);

// Null: the pin is connected to none.
[[nodiscard]] Microsoft::WRL::ComPtr<IPin> PeerOf(IPin* pin);

[[nodiscard]] Microsoft::WRL::ComPtr<IBaseFilter> FilterOf(IPin* pin);

// Names have nothing in them that steers a terminal: a parser may name pins as its source says.
[[nodiscard]] std::wstring NameOf(IPin* pin);

// "unknown" where it isn't told.
[[nodiscard]] std::wstring NameOf(IBaseFilter* filter);

// The names of the filters from the one that `pin` is connected to up to the renderer.
[[nodiscard]] std::vector<std::wstring> RouteFrom(IPin* pin);

}  // namespace tvsource
