// The page without its data, which belongs in the place of kDataHere.
#pragma once

#include <string_view>

namespace logview {

inline constexpr std::string_view kDataHere = "<!-- data -->";

extern const std::string_view kLogPageFrame;

}  // namespace logview
