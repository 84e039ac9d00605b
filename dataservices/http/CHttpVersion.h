// What an http source is, as its answers tell: its length, whether it has ranges, and its version.
//
// The first answer that is good says all of that; every later one must go on with the same version.
//
// Units: positions and lengths are bytes.  Threads: one at a time.  Errors: std::bad_alloc.
#pragma once

#include "dataservices/http/HttpAnswer.h"

#include <windows.h>

#include <optional>
#include <string>

namespace dataservices::http {

class CHttpVersion final {
public:
    enum class Ranges { No, Untried, Yes };

    // The first answer that can be judged has come.
    [[nodiscard]] bool IsKnown() const noexcept { return m_isKnown; }
    // Empty when the source is live.
    [[nodiscard]] std::optional<ULONGLONG> Length() const noexcept { return m_length; }
    [[nodiscard]] bool HasRanges() const noexcept { return m_ranges != Ranges::No; }
    [[nodiscard]] bool IsStation() const noexcept { return m_first.isStation; }
    [[nodiscard]] const std::wstring& LastModified() const noexcept { return m_first.lastModified; }
    // Binds a request to this version, see HttpAnswer.
    [[nodiscard]] std::wstring Validator() const { return m_first.StrongValidator(); }

    // The first answer doesn't tell what the source is; one without a range would.
    [[nodiscard]] static bool IsVague(const HttpAnswer& answer) noexcept;

    // Takes the first answer, or judges a later one, to a request from `from` on.
    // 0x80190000 | status: the server refused.  kHttpInvalidResponse: the answer contradicts itself.  STG_E_REVERTED:
    // it is of another version.
    [[nodiscard]] HRESULT Take(const HttpAnswer& answer, ULONGLONG from);

    // The part of the source that an answer gives which was taken; an end only where it tells one.
    [[nodiscard]] static ULONGLONG Begin(const HttpAnswer& answer) noexcept;
    [[nodiscard]] static std::optional<ULONGLONG> End(const HttpAnswer& answer) noexcept;

private:
    [[nodiscard]] HRESULT Learn(const HttpAnswer& answer);
    [[nodiscard]] HRESULT Check(const HttpAnswer& answer, ULONGLONG from) const noexcept;
    [[nodiscard]] bool IsUnchangedWhole(const HttpAnswer& answer, ULONGLONG from) const noexcept;

    bool m_isKnown = false;
    HttpAnswer m_first;
    std::optional<ULONGLONG> m_length;
    Ranges m_ranges = Ranges::No;
};

}  // namespace dataservices::http
