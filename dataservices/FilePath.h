// Paths as this layer opens them: full and literal, with the prefix \\?\, behind which each character means itself.
// Names that the platform otherwise changes or takes for devices ("a. ", "NUL"), and long ones, are reached as they
// are.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace dataservices {

// Both forms of one path. The file is opened by the one and named by the other.
struct FilePath {
    std::wstring literal;   // to be opened
    std::wstring readable;  // to be shown: see ReadablePath
};

// From a path as people write it, relative ones included. A backslash at its end goes, except behind a root.
// E_INVALIDARG: it names a device.
[[nodiscard]] HRESULT FilePathOf(const std::wstring& path, FilePath* paths);

// Back to what people write, where that leads to the same place; otherwise `literal`.
[[nodiscard]] std::wstring ReadablePath(const std::wstring& literal);

// How many characters the drive or share takes, with the backslash behind it.
[[nodiscard]] size_t RootLength(std::wstring_view literal);

// Whether the path leads to another machine: it is that of a share, or on a drive that stands for one.
[[nodiscard]] bool IsRemote(const std::wstring& literal);

[[nodiscard]] std::wstring JoinPath(const std::wstring& literalFolder, std::wstring_view name);

// The last name of the path in its long form, as the folder lists it; as written if the folder doesn't list it.
[[nodiscard]] std::wstring ListedName(const std::wstring& literal);

// Whether `name` can be that of a file in a folder: it is not empty, leads nowhere else, and is no pattern.
[[nodiscard]] bool IsFileName(std::wstring_view name) noexcept;

}  // namespace dataservices
