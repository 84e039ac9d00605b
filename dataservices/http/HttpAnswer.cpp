#include "dataservices/http/HttpAnswer.h"

#include "base/AsciiText.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace dataservices::http {

namespace {

constexpr std::uint64_t kMaxNumber = 0x7FFFFFFFFFFFFFFE;

// Empty: no number, or 2^63 - 1 or more. Servers that don't know a length give 2^63 - 1.
[[nodiscard]] std::optional<std::uint64_t> NumberOf(std::wstring_view text) noexcept {
    text = base::Trimmed(text);
    if (text.empty())
        return std::nullopt;
    std::uint64_t number = 0;
    for (const wchar_t digit : text) {
        if (digit < L'0' || digit > L'9')
            return std::nullopt;
        const std::uint64_t value = static_cast<std::uint64_t>(digit - L'0');
        if (number > (kMaxNumber - value) / 10)
            return std::nullopt;
        number = number * 10 + value;
    }
    return number;
}

// "bytes 0-499/1234", "bytes 0-499/*", "bytes */1234". Any other text leaves `answer` as it is.
void ReadContentRange(std::wstring_view text, HttpAnswer& answer) noexcept {
    constexpr std::wstring_view kUnit = L"bytes ";
    text = base::Trimmed(text);
    const size_t slash = text.find(L'/');
    if (!base::EqualsIgnoringAsciiCase(text.substr(0, kUnit.size()), kUnit) || slash == text.npos)
        return;
    const std::wstring_view range = base::Trimmed(text.substr(kUnit.size(), slash - kUnit.size()));
    const auto total = NumberOf(text.substr(slash + 1));
    if (!total && base::Trimmed(text.substr(slash + 1)) != L"*")
        return;
    if (range == L"*") {
        answer.total = total;
        return;
    }
    const size_t dash = std::min(range.find(L'-'), range.size() - 1);
    const auto first = NumberOf(range.substr(0, dash));
    const auto last = NumberOf(range.substr(dash + 1));
    if (!first || !last || *first > *last || (total && *last >= *total))
        return;
    answer.total = total;
    answer.rangeStart = first;
    answer.rangeEnd = *last + 1;
}

// All Content-Length values, also within one comma list, must agree.
void ReadContentLength(const std::vector<std::wstring>& headers, HttpAnswer& answer) noexcept {
    for (const std::wstring_view header : headers)
        for (size_t at = 0; at <= header.size(); at = std::min(header.find(L',', at), header.size()) + 1) {
            const auto length = NumberOf(header.substr(at, header.find(L',', at) - at));
            answer.hasInvalidLength |= !length || answer.bodyLength.value_or(*length) != *length;
            answer.bodyLength = length;
        }
}

// Other characters arrive and leave in encodings that each system chooses, so the server may not recognise what it gets
// back.
[[nodiscard]] bool CanBeSentBack(std::wstring_view text) noexcept {
    return std::ranges::all_of(text, [](wchar_t character) { return character >= L' ' && character < 0x7F; });
}

[[nodiscard]] bool Differ(const std::wstring& a, const std::wstring& b) noexcept {
    return !a.empty() && !b.empty() && a != b;
}

}  // namespace

bool HttpAnswer::IsSameVersionAs(const HttpAnswer& other) const noexcept {
    return !Differ(entityTag, other.entityTag) && !Differ(lastModified, other.lastModified);
}

std::wstring HttpAnswer::StrongValidator() const {
    if (entityTag.starts_with(L'"') && CanBeSentBack(entityTag))
        return entityTag;
    return CanBeSentBack(lastModified) ? lastModified : std::wstring();
}

bool HttpAnswer::HasInvalidRange() const noexcept {
    return !rangeStart || (bodyLength && *bodyLength != rangeEnd - *rangeStart);
}

HttpAnswer ReadHttpAnswer(unsigned status, const CHttpHeaders& headers) {
    HttpAnswer answer;
    answer.status = status;
    const std::wstring coding = headers.First(L"Transfer-Encoding");
    if (coding.empty() || base::EqualsIgnoringAsciiCase(base::Trimmed(coding), L"identity"))
        ReadContentLength(headers.All(L"Content-Length"), answer);
    ReadContentRange(headers.First(L"Content-Range"), answer);
    const std::wstring ranges = headers.First(L"Accept-Ranges");
    answer.acceptsRanges = base::EqualsIgnoringAsciiCase(base::Trimmed(ranges), L"bytes");
    answer.isStation = !headers.First(L"icy-name").empty() || !headers.First(L"icy-br").empty();
    answer.retryAfter = headers.First(L"Retry-After");
    answer.retryAfterSeconds = NumberOf(answer.retryAfter);
    answer.entityTag = headers.First(L"ETag");
    answer.lastModified = headers.First(L"Last-Modified");
    return answer;
}

}  // namespace dataservices::http
