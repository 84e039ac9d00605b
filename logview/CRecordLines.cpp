#include "logview/CRecordLines.h"

#include "base/FormatText.h"
#include "base/Times.h"
#include "base/Utf8Text.h"
#include "console/Text.h"
#include "diagnostics/LogSite.h"
#include "logview/LogTexts.h"

namespace logview {

namespace {

constexpr std::size_t kMostThreads = 1000;  // whose failed calls are remembered

console::Tint TintOf(LONG severity) noexcept {
    switch (severity) {
        case TKRuntimeLogger::kDebug:
            return console::Tint::Faint;
        case TKRuntimeLogger::kInfo:
            return console::Tint::Plain;
        case TKRuntimeLogger::kWarn:
            return console::Tint::Warning;
        case TKRuntimeLogger::kError:
            return console::Tint::Error;
        default:
            return severity < TKRuntimeLogger::kDebug ? console::Tint::Plain : console::Tint::Fatal;
    }
}

// As checked calls and exit scopes of all components write them (diagnostics/CheckedCall, CExitScopeGuard).
bool IsFailedCall(const LogRecord& record) {
    return record.message.starts_with(L"ERROR: hr=0x") && record.message.find(L", from call ") != std::wstring::npos;
}

bool IsExitScope(const LogRecord& record) {
    const std::size_t at = record.message.find(L" failed on exit scope");
    return at != std::wstring::npos && record.message.find(L": HRESULT 0x", at) != std::wstring::npos;
}

std::wstring Figures(const ProfileRecord& record) {
    constexpr double kMs = 1000;
    return console::CountText(static_cast<LONGLONG>(record.count), L"call") +
           base::FormatText(L", longest %.3f ms, total %.3f ms", record.maximumDuration * kMs,
                            record.totalDuration * kMs);
}

}  // namespace

std::wstring ClockText(ULONGLONG time) {
    const FILETIME utc = base::FileTimeOf(time);
    SYSTEMTIME system{}, local{};
    if (time == 0 || !::FileTimeToSystemTime(&utc, &system) ||
        !::SystemTimeToTzSpecificLocalTime(nullptr, &system, &local))
        return L"--:--:--.---";
    return base::FormatText(L"%02u:%02u:%02u.%03u", static_cast<unsigned>(local.wHour),
                            static_cast<unsigned>(local.wMinute), static_cast<unsigned>(local.wSecond),
                            static_cast<unsigned>(local.wMilliseconds));
}

std::wstring SeverityText(LONG severity) {
    const std::wstring name = TKRuntimeLogger::SeverityName(severity);
    return name.empty() ? std::to_wstring(severity) : name;
}

std::wstring CRecordLines::Shown(std::wstring_view text) const {
    if (text.empty())
        return L"-";
    if (text.size() <= m_style.mostCharacters)
        return console::Printable(OneLine(text));  // as files have it
    const std::size_t end = m_style.mostCharacters - (base::IsHighSurrogate(text[m_style.mostCharacters - 1]) ? 1 : 0);
    return console::Printable(OneLine(text.substr(0, end))) +
           base::FormatText(L"... (%I64u more)", static_cast<ULONGLONG>(text.size() - end));
}

std::wstring CRecordLines::SourceOf(const Arrival& arrival) const {
    const auto* const record = std::get_if<LogRecord>(&arrival.record);
    if (record && record->explicitValues)
        return base::FormatText(L"numbers %lu, %lu, %lu, flag %s", record->processId, record->threadId,
                                record->explicitValues->value, record->explicitValues->flag ? L"true" : L"false");
    const std::wstring thread = record ? std::to_wstring(record->threadId) : L"-";
    const ULONG process = std::visit([](const auto& any) { return any.processId; }, arrival.record);
    if (process == m_style.ownProcess)
        return thread;
    return Shown(arrival.process) + L" " + std::to_wstring(process) + L"/" + thread;
}

std::wstring CRecordLines::GroupMark(const LogRecord& record, const std::wstring& time) {
    if (record.explicitValues)
        return {};
    const Thread thread{record.processId, record.threadId};
    if (IsFailedCall(record)) {
        if (m_failed.size() >= kMostThreads)
            m_failed.clear();
        m_failed[thread] = {m_count, time};
        return {};
    }
    const auto found = m_failed.find(thread);
    if (found == m_failed.end())
        return {};
    if (!IsExitScope(record)) {
        m_failed.erase(found);
        return {};
    }
    const bool isBelow = found->second.line + 1 == m_count;
    found->second.line = m_count;  // the scopes around it follow
    return isBelow ? L"\u2514 " : L"\u2514 [" + found->second.time + L"] ";
}

console::TintedLine CRecordLines::Next(const Arrival& arrival) {
    ++m_count;
    const std::wstring time = ClockText(arrival.time);
    const auto begin = [&](const auto& record) {
        return time + base::FormatText(L"  %-5s  ", SeverityText(record.severity).c_str()) + SourceOf(arrival) + L"  " +
               Shown(record.category) + L"  " + Shown(record.function) + L"  ";
    };
    if (const auto* const profile = std::get_if<ProfileRecord>(&arrival.record))
        return {
            begin(*profile) + Figures(*profile) + (profile->message.empty() ? L"" : L"  " + Shown(profile->message)),
            console::Tint::Faint};
    const LogRecord& record = std::get<LogRecord>(arrival.record);
    const std::wstring mark = GroupMark(record, time);
    return {begin(record) + mark + Shown(record.message), TintOf(record.severity)};
}

}  // namespace logview
