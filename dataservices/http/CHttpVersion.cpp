#include "dataservices/http/CHttpVersion.h"

#include "dataservices/http/HttpResults.h"

#include <winhttp.h>

namespace dataservices::http {

namespace {

constexpr DWORD kPartial = HTTP_STATUS_PARTIAL_CONTENT;
constexpr DWORD kRangeNotSatisfiable = 416;

constexpr DWORD kTransformed = 203;  // a proxy has changed the content of a 200

[[nodiscard]] constexpr bool IsWhole(DWORD status) noexcept {
    return status == HTTP_STATUS_OK || status == kTransformed;
}

}  // namespace

bool CHttpVersion::IsVague(const HttpAnswer& answer) noexcept {
    return (answer.status == kRangeNotSatisfiable && answer.total != 0) ||
           (answer.status == kPartial && !answer.HasInvalidRange() && !answer.total);
}

HRESULT CHttpVersion::Take(const HttpAnswer& answer, ULONGLONG from) {
    if (!m_isKnown)
        return Learn(answer);
    if (const HRESULT hr = Check(answer, from); FAILED(hr))
        return hr;
    if (answer.status == kPartial)
        m_ranges = Ranges::Yes;
    else if (from != 0)
        m_ranges = Ranges::No;
    return S_OK;
}

HRESULT CHttpVersion::Learn(const HttpAnswer& answer) {
    const bool isEmpty = answer.status == kRangeNotSatisfiable && answer.total == 0;
    if (!isEmpty && answer.status != kPartial && !IsWhole(answer.status))
        return ResultOfHttpStatus(answer.status);
    if (!isEmpty && answer.hasInvalidLength)
        return kHttpInvalidResponse;
    if (answer.status == kPartial && (answer.HasInvalidRange() || *answer.rangeStart != 0 || !answer.total))
        return kHttpInvalidResponse;
    m_first = answer;
    m_isKnown = true;
    if (isEmpty) {
        m_length = 0;
    } else if (answer.status == kPartial) {
        m_length = answer.total;
        m_ranges = Ranges::Yes;
    } else {
        m_length = answer.bodyLength;
        m_ranges = m_length && answer.acceptsRanges ? Ranges::Untried : Ranges::No;
    }
    return S_OK;
}

HRESULT CHttpVersion::Check(const HttpAnswer& answer, ULONGLONG from) const noexcept {
    if (answer.status == kRangeNotSatisfiable)
        return STG_E_REVERTED;  // it has become shorter
    if (!IsWhole(answer.status) && answer.status != kPartial)
        return ResultOfHttpStatus(answer.status);
    if (answer.hasInvalidLength)
        return kHttpInvalidResponse;
    if (!answer.IsSameVersionAs(m_first))
        return STG_E_REVERTED;
    if (IsWhole(answer.status))
        return IsUnchangedWhole(answer, from) ? S_OK : STG_E_REVERTED;
    if (answer.HasInvalidRange())
        return kHttpInvalidResponse;
    const bool goesOn = m_length && answer.rangeStart == from && answer.rangeEnd <= *m_length &&
                        answer.total.value_or(*m_length) == *m_length;
    return goesOn ? S_OK : STG_E_REVERTED;
}

// Judges an answer that gives the whole source and doesn't name another version. If the server gave ranges before and a
// range was asked for, such an answer says that the source has changed. But if its tag is the same, the server only
// gives no more ranges. A range from the start may be answered by the whole source in any case.
bool CHttpVersion::IsUnchangedWhole(const HttpAnswer& answer, ULONGLONG from) const noexcept {
    const bool hasSameTag = !answer.entityTag.empty() && answer.entityTag == m_first.entityTag;
    return answer.bodyLength == m_length && (m_ranges != Ranges::Yes || from == 0 || hasSameTag);
}

ULONGLONG CHttpVersion::Begin(const HttpAnswer& answer) noexcept {
    return answer.status == kPartial ? answer.rangeStart.value_or(0) : 0;
}

std::optional<ULONGLONG> CHttpVersion::End(const HttpAnswer& answer) noexcept {
    if (answer.status == kRangeNotSatisfiable)
        return 0;  // its body is a page for people
    return answer.status == kPartial ? std::optional<ULONGLONG>(answer.rangeEnd) : answer.bodyLength;
}

}  // namespace dataservices::http
