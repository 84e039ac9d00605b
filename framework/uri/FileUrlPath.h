// From the path of a file URL to the path that the platform opens.
#pragma once

#include <string>
#include <string_view>

// `path` is as the URL has it: with escapes, '/' or '\' between names, and "C:" or "C|" for a drive, behind any number
// of separators. The result has '\' for separators and begins with the drive if there is one. It is empty if there is
// no drive and the path would lead to a server or a device instead of a file. Which escapes are resolved: see
// CTKFUri::GetLocalPath.
[[nodiscard]] std::wstring LocalPathOfFileUrlPath(std::wstring_view path);
