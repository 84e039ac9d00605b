// A name of a source, as a person types it or a program passes it, taken apart: a URI, a file path or a UNC path.
//
//   const auto uri = CTKFUri::Parse(L"file:///C:/a%20b.wav");
//   if (uri && uri->IsLocalFile()) Open(uri->GetLocalPath());  // C:\a b.wav
//
// What counts as what, in this order:
//  - "C:..." with any single letter is a path on a drive, never a scheme: C:\a, c:/a, C:a (relative to the drive's own
//    current folder).
//  - \\?\C:\..., \\?\Volume{...}\... are paths too; \\?\UNC\server\... is a UNC path. Other names that begin with
//    \\?\, \??\ or \\.\ are devices. They do not parse, so that no device is opened by its path. (CON, NUL and their
//    like are names that the platform itself takes for devices in any folder.)
//  - \\server\share\... is a UNC path.
//  - "scheme:..." is a URI if the scheme has two or more characters.
//  - Everything else is a path: clip.wav, ..\x, sub/clip.wav, \dir\x.
// In all paths '/' and '\' are both separators, and every other character stands for itself: '#', '%', '?' and blanks
// have no meaning there.
//
// A path counts as the file URL of the same file: its scheme is "file". A path leads to its URL and back to itself, but
// for '/', which becomes '\', and the few paths that have no URL (see FileUrlOfPath). A URL leads to a path that names
// the same file, whose own URL may be written differently: without user info, query and fragment, with the escapes and
// slashes that FileUrlOfPath gives it:
//
//   CTKFUri::FromFilePath(L"C:\\a b#1.wav")->ToString()                // file:///C:/a%20b%231.wav
//   CTKFUri::Parse(L"file://server/share/x%20y")->GetFilePath()        // \\server\share\x y
//
// A path with the prefix \\?\ means another name than the one without it ("\\?\C:\x." has a dot at its end), so its URL
// keeps the prefix, as a host that no server can have: file://%3F/C:/x.
//
// Threads: an object never changes and may be shared.  Errors: memory that runs out is std::bad_alloc.
#pragma once

#include "framework/uri/CTKFUriParts.h"

#include <boost/shared_ptr.hpp>

#include <optional>
#include <string>
#include <vector>

class CTKFUri final {
public:
    // Null: `text` is null, empty, names a device, is a UNC path without a server, or is a URI with malformed user info
    // or host, with a port above 65535 or with control characters. Characters that should have been escaped are taken
    // as they are: non-ASCII ones in all components, blanks, quotation marks and the like only behind the host and
    // port. Takes time in proportion to the length.
    [[nodiscard]] static boost::shared_ptr<CTKFUri> Parse(const wchar_t* text);

    // Null: `path` is no path, or one that reads as a URI; "./ab:c" is a path where "ab:c" isn't.
    [[nodiscard]] static boost::shared_ptr<CTKFUri> FromFilePath(const wchar_t* path);

    // A path as such, not a URI.
    [[nodiscard]] bool IsPath() const { return m_parts.notation != framework::CTKFUriParts::Notation::Uri; }

    // The scheme is "file": true of every path, local or not.
    [[nodiscard]] bool IsFileUrl() const { return m_parts.scheme == L"file"; }

    // A file on a drive of this machine, mapped drives included: a path that is no UNC path, or a file URL with such a
    // path whose host is empty, "localhost" or "%3F" (which stands for the prefix \\?\).
    [[nodiscard]] bool IsLocalFile() const { return !m_localPath.empty(); }

    // The path to open, with '\' as its only separator; empty if this is not a local file. A relative path stays
    // relative. In a file URL the escapes are resolved as UTF-8. Some stay as they are written: those which are
    // malformed, whose bytes are not UTF-8, or which stand for a separator or for the character 0. None of these can be
    // part of a name, and resolving them would lead to another file than the one the URL seems to name.
    [[nodiscard]] const std::wstring& GetLocalPath() const { return m_localPath; }

    // The local path or the UNC path, in the same way; empty if there is neither: the URI is no file URL, has a port,
    // or its host can't be the server of a path (an IPv6 address, for one).
    [[nodiscard]] const std::wstring& GetFilePath() const { return IsLocalFile() ? m_localPath : m_uncPath; }

    // What was parsed, as it was written.
    [[nodiscard]] const std::wstring& Text() const { return m_text; }

    // For a URI, the text as it was written. For a path, its file URL; empty if it has none. FileUrlOfPath says how the
    // URL is made and which paths have none.
    [[nodiscard]] std::wstring ToString() const;

    // ToString with every escape resolved as UTF-8 but those of '#', '/', '?' and '%', which stay as they are written.
    // Escapes whose bytes are not UTF-8 become U+FFFD. For display only: an '@' that was escaped, for example, then
    // looks like the one that ends the user info.
    [[nodiscard]] std::wstring NormalizeUriEscapes() const;

    // True if both mean the same thing, as far as names alone can tell. These differences don't count:
    // - a path and its file URL;
    // - the case of scheme, host and drive, and the case of escapes;
    // - an escape and its character, unless that is '%' or one that may delimit something (RFC 3986, 2.2);
    // - empty user info or an empty port and none;
    // - user info and host of a file URL that has a path, except for what the path itself has of them.
    // These count:
    // - the case of all else, also in paths on drives that ignore it;
    // - "." and ".." and what they lead to;
    // - a port that is written and none, even if it is the scheme's default port;
    // - an empty query, fragment or authority and none.
    friend bool operator==(const CTKFUri& a, const CTKFUri& b);

    // The components, as they are written, with their escapes; empty where there is none.
    [[nodiscard]] const std::wstring& GetScheme() const { return m_parts.scheme; }  // in lower case
    [[nodiscard]] const std::wstring& GetUserInfo() const { return m_parts.userInfo; }
    [[nodiscard]] const std::wstring& GetHost() const { return m_parts.host; }
    [[nodiscard]] TKFURI_HOSTNAME_TYPE GetHostType() const { return m_parts.hostType; }
    [[nodiscard]] std::optional<unsigned> GetPort() const { return m_parts.port; }  // only if it is written
    // Of a UNC path, what follows the server; without the prefix \\?\.
    [[nodiscard]] const std::wstring& GetPath() const { return m_parts.path; }
    // The path between its separators: {"a", "", "b", ""} for both "/a//b/" and "a//b/".
    [[nodiscard]] const std::vector<std::wstring>& GetPathSegments() const { return m_parts.segments; }
    [[nodiscard]] const std::wstring& GetQuery() const { return m_parts.query; }        // without '?'
    [[nodiscard]] const std::wstring& GetFragment() const { return m_parts.fragment; }  // without '#'

private:
    CTKFUri(framework::CTKFUriParts parts, std::wstring text);

    // Of a file URL with a host.
    void SetPathBehindServer();

    framework::CTKFUriParts m_parts;
    std::wstring m_text;
    std::wstring m_localPath;
    std::wstring m_uncPath;
};
