// From file URLs to the paths that the platform opens, and back.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

namespace framework {

// The path of a file URL without a server. `path` is as the URL has it: with escapes, '/' or '\' between names, and
// "C:" or "C|" for a drive, behind any number of separators. The result has '\' for separators and begins with the
// drive if there is one. It is empty if there is no drive and the path would lead to a server or a device instead of a
// file. Which escapes are resolved: see CTKFUri::GetLocalPath.
[[nodiscard]] std::wstring LocalPathOfFileUrlPath(std::wstring_view path);

// The path of a file URL with a server: \\server\share\name. What it names is not checked: with the host "%3F" it is a
// \\?\ path, with "." a device.
[[nodiscard]] std::wstring NetworkPathOfFileUrl(std::wstring_view host, std::wstring_view path);

// The file URL of a path that has '\' for separators; the functions above lead back to the path, character for
// character. All is escaped but what RFC 3986 allows in a path; only halves of surrogate pairs, which have no escapes,
// stay as they are.
//
//   C:\a b.wav         file:///C:/a%20b.wav        \\server\share\x      file://server/share/x
//   \dir\x             file:///dir/x               \\localhost\share     file:////localhost/share
//   clip.wav           file:clip.wav               \\?\C:\x              file://%3F/C:/x
//
// Empty: no URL leads to this path. These are paths without a drive whose first name begins as a drive does: \C:x,
// C|\x.
[[nodiscard]] std::wstring FileUrlOfPath(std::wstring_view path);

}  // namespace framework
