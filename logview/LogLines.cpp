#include "logview/LogLines.h"

#include "base/Utf8Text.h"
#include "diagnostics/LogLine.h"
#include "logview/LogTexts.h"

#include <charconv>
#include <limits>

namespace logview {

namespace {

// What is left of a line, taken from the front.
class CFields final {
public:
    explicit CFields(std::string_view line) noexcept : m_left(line) {}

    bool TakeName(std::string_view name) noexcept {
        if (!m_left.starts_with(name))
            return false;
        m_left.remove_prefix(name.size());
        return true;
    }

    // A number as %d writes it; one that is meant without a sign may also stand so.
    template <class Number>
    bool TakeNumber(Number& number) noexcept {
        constexpr long long kLeast = std::numeric_limits<LONG>::min(), kMost = std::numeric_limits<Number>::max();
        long long value = 0;
        const auto [end, error] = std::from_chars(m_left.data(), m_left.data() + m_left.size(), value);
        if (error != std::errc() || value < kLeast || value > kMost)
            return false;
        number = static_cast<Number>(value);
        m_left.remove_prefix(static_cast<std::size_t>(end - m_left.data()));
        return true;
    }

    // The text before the first place where `takeNext` takes what follows it.
    template <class TakeNext>
    bool TakeTextBefore(std::string_view name, std::wstring& text, TakeNext&& takeNext) {
        for (std::size_t end = m_left.find(name); end != m_left.npos; end = m_left.find(name, end + 1)) {
            CFields next(m_left.substr(end + name.size()));
            if (!takeNext(next))
                continue;
            text = base::WideOfUtf8(m_left.substr(0, end));
            *this = next;
            return true;
        }
        return false;
    }

    [[nodiscard]] std::string_view Left() const noexcept { return m_left; }

private:
    std::string_view m_left;
};

constexpr std::wstring_view kExplicit = L", EXPLICIT: ", kFlag = L", FLAG: ";

// Takes the numbers of an explicit record from the end of its function.
void TakeExplicit(LogRecord& record) {
    const std::size_t begin = record.function.rfind(kExplicit);
    if (begin == record.function.npos)
        return;
    const std::string text = base::Utf8OfWide(std::wstring_view(record.function).substr(begin + kExplicit.size()));
    CFields fields(text);
    LogRecord::Explicit values;
    ULONG flag = 0;
    if (!fields.TakeNumber(values.value) || !fields.TakeName(", FLAG: ") || !fields.TakeNumber(flag) || flag > 1 ||
        !fields.Left().empty())
        return;
    values.flag = flag == 1;
    record.explicitValues = values;
    record.function.resize(begin);
}

bool Parse(std::string_view line, LogRecord& record) {
    CFields fields(line);
    const auto takeIds = [&](CFields& next) {
        return next.TakeNumber(record.processId) && next.TakeName(", TID: ") && next.TakeNumber(record.threadId) &&
               next.TakeName(", FILE: ");
    };
    const auto takeLine = [&](CFields& next) { return next.TakeNumber(record.line) && next.TakeName(", FUNC: "); };
    if (!fields.TakeName("SEV: ") || !fields.TakeNumber(record.severity) || !fields.TakeName(", CAT: ") ||
        !fields.TakeTextBefore(", PID: ", record.category, takeIds) ||
        !fields.TakeTextBefore(", LINE: ", record.file, takeLine) ||
        !fields.TakeTextBefore(", MSG: ", record.function, [](CFields&) { return true; }))
        return false;
    record.message = base::WideOfUtf8(fields.Left());
    TakeExplicit(record);
    return true;
}

}  // namespace

std::string FormatLogLine(const LogRecord& record) {
    std::wstring function = OneLine(record.function);
    if (record.explicitValues)
        function.append(kExplicit)
            .append(std::to_wstring(record.explicitValues->value))
            .append(kFlag)
            .append(record.explicitValues->flag ? L"1" : L"0");
    return TKRuntimeLogger::LogLine(record.severity, OneLine(record.category).c_str(),
                                    static_cast<int>(record.processId), static_cast<int>(record.threadId),
                                    OneLine(record.file).c_str(), record.line, function.c_str(),
                                    OneLine(record.message).c_str());
}

LogRecord ParseLogLine(std::string_view line) {
    LogRecord record;
    if (Parse(line, record))
        return record;
    LogRecord whole;
    whole.severity = 1;
    whole.message = base::WideOfUtf8(line);
    return whole;
}

}  // namespace logview
