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
    // Each of `lines` ends in LF or CR LF.
    explicit CHttpHeaders(std::wstring lines) noexcept : m_lines(std::move(lines)) {}

    // The value of the first header with this name; empty if there is none.
    [[nodiscard]] std::wstring First(std::wstring_view name) const;
    // The values of all headers with this name, empty ones included. Takes time in proportion to the answer's headers.
    [[nodiscard]] std::vector<std::wstring> All(std::wstring_view name) const;

private:
    const std::wstring m_lines;
};

}  // namespace dataservices::http
