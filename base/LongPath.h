// Paths of any length, for the platform's file calls.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

namespace base {

inline constexpr std::wstring_view kLiteralPrefix = LR"(\\?\)";  // each character behind it means itself
inline constexpr std::wstring_view kLiteralSharePrefix = LR"(\\?\UNC\)";
inline constexpr std::wstring_view kSharePrefix = LR"(\\)";
inline constexpr std::wstring_view kDevicePrefix = LR"(\\.\)";

// The full path, whether or not anything is there; `path` itself when the platform can't resolve it. A path that begins
// with \\?\ is full by definition and is taken literally: resolving it would remove dots that belong to its names.
[[nodiscard]] std::wstring FullPathOf(const std::wstring& path);

// The form in which the platform opens a full path: a long one needs a prefix, without which it is refused.
[[nodiscard]] std::wstring OpenablePath(const std::wstring& fullPath);

}  // namespace base
