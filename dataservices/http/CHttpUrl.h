// An http or https URL as a request needs it. The fragment is dropped, "." and ".." of the path are resolved, and what
// should have been escaped is escaped as UTF-8; escapes that are there stay.
//
// Threads: any for reading.  Errors: std::bad_alloc.
#pragma once

#include "framework/uri/CTKFUri.h"
#include "framework/uri/NameForLog.h"

#include <cstdint>
#include <optional>
#include <string>

namespace dataservices::http {

class CHttpUrl final {
public:
    // No value: `text` is null or no URL with one of the two schemes, or the URL has no host that could be asked, or
    // port 0.
    [[nodiscard]] static std::optional<CHttpUrl> Parse(const wchar_t* text);
    // The same from a URI that has been parsed.
    [[nodiscard]] static std::optional<CHttpUrl> From(const CTKFUri& uri);

    // What `header` leads to: a URL, or a reference relative to this one, as a header has it. Bytes beyond ASCII are
    // taken for UTF-8 if they are valid UTF-8. Credentials are left out unless it leads to the same origin.
    // No value: it leads to no such URL, or from https to http.
    [[nodiscard]] std::optional<CHttpUrl> Resolve(const std::wstring& header) const;

    [[nodiscard]] bool IsSecure() const noexcept { return m_isSecure; }
    // A name in ASCII (other characters as Punycode), or an address, one of IPv6 in brackets.
    [[nodiscard]] const std::wstring& Host() const noexcept { return m_host; }
    [[nodiscard]] std::uint16_t Port() const noexcept { return m_port; }
    // Path and query, to be sent as they are.
    [[nodiscard]] std::wstring Target() const { return m_path + m_query; }
    // The value of the header "Authorization" that the URL's user info makes; empty without one.
    [[nodiscard]] const std::wstring& Authorization() const noexcept { return m_authorization; }

    // Scheme, host and port are the same.
    [[nodiscard]] bool HasOriginOf(const CHttpUrl& other) const noexcept;

    // For logs and people: without user info, and with the query as QueryForLog has it.
    [[nodiscard]] std::wstring Printable() const { return Origin() + m_path + framework::QueryForLog(m_query); }

    friend bool operator==(const CHttpUrl&, const CHttpUrl&) = default;

private:
    CHttpUrl() = default;
    [[nodiscard]] std::wstring Origin() const;

    bool m_isSecure = false;
    std::wstring m_host;
    std::uint16_t m_port = 0;
    std::wstring m_path;   // from its first '/'
    std::wstring m_query;  // with its '?', which may be all of it; or empty
    std::wstring m_authorization;
};

}  // namespace dataservices::http
