// The headers of an answer.
//
// Threads: any for reading.  Errors: std::bad_alloc.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace dataservices::http {

class CHttpHeaders final {
public:
    // `lines`: each with its LF, and a CR before it or not.
    explicit CHttpHeaders(std::wstring lines) noexcept : m_lines(std::move(lines)) {}

    // The first one of this name; empty without one.
    [[nodiscard]] std::wstring First(std::wstring_view name) const;
    // All of this name, empty ones too. Takes time in proportion to the answer's headers.
    [[nodiscard]] std::vector<std::wstring> All(std::wstring_view name) const;

private:
    const std::wstring m_lines;
};

}  // namespace dataservices::http
