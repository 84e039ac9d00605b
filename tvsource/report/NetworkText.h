// How a source that is waited for stands, in words.
#pragma once

#include "TKDataServices.h"

#include <optional>
#include <string>

namespace tvsource {

// "64.2 kB"
[[nodiscard]] std::wstring AmountText(unsigned long long bytes);

// For a progress line, while the source is played: how much is ahead, or what readers wait for. Empty without a status.
[[nodiscard]] std::wstring BufferingText(const std::optional<TKDS_SOURCE_STATUS>& status);

// A line of its own: what it took to read the source. Empty without a status.
[[nodiscard]] std::wstring NetworkText(const std::optional<TKDS_SOURCE_STATUS>& status);

}  // namespace tvsource
