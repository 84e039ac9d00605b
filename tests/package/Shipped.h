// The binaries that users get, by the names of their files in the build's bin folder.
#pragma once

inline constexpr const wchar_t* kShipped[] = {TV_SHIPPED};
