#include "logview/TraceEvents.h"

#include "base/Times.h"
#include "base/Utf8Text.h"
#include "logview/CJsonFile.h"
#include "logview/LogTexts.h"

#include <array>
#include <cmath>
#include <cwchar>
#include <map>
#include <set>
#include <utility>

namespace logview {

namespace {

using console::Json;

constexpr LONGLONG kCounterStepUs = 10'000;
constexpr std::size_t kLongestName = 100;
constexpr const char* kKinds[] = {"DEBUG", "INFO", "WARN", "ERROR", "FATAL", "other"};

Json TextJson(const std::wstring& text) {
    return console::JsonText(OneLine(text));
}

Json NameJson(const LogRecord& record) {
    const std::wstring& text = record.message.empty() ? record.function : record.message;
    if (text.size() <= kLongestName)
        return TextJson(text.empty() ? L"(no text)" : text);
    return TextJson(text.substr(0, kLongestName - (base::IsHighSurrogate(text[kLongestName - 1]) ? 1 : 0)) + L'\u2026');
}

// The record of an activity that goes on after it hung (diagnostics/CHangDetector.h).
struct Hang {
    ULONGLONG ms = 0;
    std::wstring words;
    ULONG threadId = 0;
};

std::optional<Hang> HangOf(const LogRecord& record) {
    constexpr std::wstring_view kBegin = L"Goes on after ", kMiddle = L" ms: ", kThread = L" (thread ";
    const std::wstring& text = record.message;
    const std::size_t middle = text.find(kMiddle), thread = text.rfind(kThread);
    if (record.explicitValues || !text.starts_with(kBegin) || middle == text.npos || thread == text.npos ||
        thread < middle + kMiddle.size())
        return std::nullopt;
    wchar_t* end = nullptr;
    Hang hang;
    hang.ms = std::wcstoull(text.c_str() + kBegin.size(), &end, 10);
    constexpr ULONGLONG kYearMs = 366ull * 24 * 60 * 60 * 1000;
    if (middle == kBegin.size() || end != text.c_str() + middle || hang.ms > kYearMs)
        return std::nullopt;
    hang.threadId = static_cast<ULONG>(std::wcstoul(text.c_str() + thread + kThread.size(), &end, 10));
    if (std::wstring_view(end) != L")")
        return std::nullopt;
    hang.words = text.substr(middle + kMiddle.size(), thread - middle - kMiddle.size());
    return hang;
}

class CTraceWriter final {
public:
    explicit CTraceWriter(const std::wstring& path) : m_file(path) { m_file.BeginList("{\"traceEvents\":["); }

    void Write(const Arrival& arrival) {
        m_time = arrival.time == 0 ? m_time + 1 : base::MicrosecondsSince1970(arrival.time);
        if (const auto* const record = std::get_if<LogRecord>(&arrival.record))
            Write(arrival, *record);
        else
            Write(arrival, std::get<ProfileRecord>(arrival.record));
    }

    void Finish(ULONGLONG leftOut) {
        for (auto& [processId, counts] : m_counts) {
            if (counts.isChanged)
                WriteCounts(processId, counts);
        }
        const Json other = {{"times", "microseconds since 1970, UTC"}, {"recordsLeftOut", leftOut}};
        m_file.Add("],\n\"displayTimeUnit\":\"ms\",\"otherData\":" + JsonBytes(other) + "}\n");
        m_file.Finish();
    }

private:
    struct Counts {
        std::array<ULONGLONG, std::size(kKinds)> records{};
        LONGLONG lastRecord = 0, written = 0;
        bool isChanged = false, isWritten = false;
    };

    void NameProcess(ULONG processId, const std::wstring& process) {
        if (!process.empty() && m_processes.insert(processId).second)
            m_file.AddItem(
                {{"name", "process_name"}, {"ph", "M"}, {"pid", processId}, {"args", {{"name", TextJson(process)}}}});
    }

    void NameThread(ULONG processId, ULONG threadId) {
        if (m_threads.emplace(processId, threadId).second)
            m_file.AddItem({{"name", "thread_name"},
                            {"ph", "M"},
                            {"pid", processId},
                            {"tid", threadId},
                            {"args", {{"name", "thread " + std::to_string(threadId)}}}});
    }

    void Write(const Arrival& arrival, const LogRecord& record) {
        NameProcess(record.processId, arrival.process);
        NameThread(record.processId, record.threadId);
        Json arguments = {{"severity", record.severity},           {"category", TextJson(record.category)},
                          {"file", TextJson(record.file)},         {"line", record.line},
                          {"function", TextJson(record.function)}, {"message", TextJson(record.message)}};
        if (arrival.time == 0)
            arguments["time"] = "not known";
        if (record.explicitValues)
            arguments["explicit"] = {{"value", record.explicitValues->value}, {"flag", record.explicitValues->flag}};
        m_file.AddItem({{"name", NameJson(record)},
                        {"cat", record.category.empty() ? Json("(none)") : TextJson(record.category)},
                        {"ph", "i"},
                        {"s", "t"},
                        {"ts", m_time},
                        {"pid", record.processId},
                        {"tid", record.threadId},
                        {"args", std::move(arguments)}});
        if (const std::optional<Hang> hang = HangOf(record))
            Write(record, *hang);
        Count(record);
    }

    void Write(const LogRecord& record, const Hang& hang) {
        const auto us = static_cast<LONGLONG>(hang.ms * 1000);
        NameThread(record.processId, hang.threadId);
        m_file.AddItem({{"name", TextJson(L"Hangs: " + hang.words)},
                        {"cat", "hang"},
                        {"ph", "X"},
                        {"ts", m_time - us},
                        {"dur", us},
                        {"pid", record.processId},
                        {"tid", hang.threadId}});
    }

    void Count(const LogRecord& record) {
        Counts& counts = m_counts[record.processId];
        const bool isKnown = record.severity >= 0 && record.severity <= 4;
        ++counts.records[isKnown ? static_cast<std::size_t>(record.severity) : std::size(kKinds) - 1];
        counts.lastRecord = m_time;
        counts.isChanged = true;
        if (!counts.isWritten || std::abs(m_time - counts.written) >= kCounterStepUs)
            WriteCounts(record.processId, counts);
    }

    void WriteCounts(ULONG processId, Counts& counts) {
        Json values = Json::object();
        for (std::size_t kind = 0; kind < counts.records.size(); ++kind)
            values[kKinds[kind]] = counts.records[kind];
        m_file.AddItem(Counter(processId, counts.lastRecord, "records", std::move(values)));
        counts.written = counts.lastRecord;
        counts.isWritten = true;
        counts.isChanged = false;
    }

    static Json Counter(ULONG processId, LONGLONG time, std::string name, Json values) {
        return {{"name", std::move(name)}, {"ph", "C"}, {"ts", time}, {"pid", processId}, {"args", std::move(values)}};
    }

    void Write(const Arrival& arrival, const ProfileRecord& report) {
        NameProcess(report.processId, arrival.process);
        const std::string site =
            base::Utf8OfWide(OneLine(report.function + (report.message.empty() ? L"" : L": " + report.message)));
        const std::pair<const char*, Json> figures[] = {{"calls", report.count},
                                                        {"total ms", Milliseconds(report.totalDuration)},
                                                        {"longest ms", Milliseconds(report.maximumDuration)}};
        for (const auto& [name, value] : figures) {
            Json counter = Counter(report.processId, m_time, site + ", " + name, {{name, value}});
            // Sites of one name, in functions that share it, stay apart.
            counter["id"] = base::Utf8OfWide(OneLine(report.file)) + ":" + std::to_string(report.line);
            m_file.AddItem(counter);
        }
    }

    static double Milliseconds(double seconds) noexcept { return std::isfinite(seconds * 1e3) ? seconds * 1e3 : 0; }

    CJsonFile m_file;
    LONGLONG m_time = 0;  // of the arrival that is written
    std::set<ULONG> m_processes;
    std::set<std::pair<ULONG, ULONG>> m_threads;
    std::map<ULONG, Counts> m_counts;  // by process
};

}  // namespace

void WriteTraceEvents(const std::wstring& path, const CHistory& history) {
    CTraceWriter writer(path);
    for (const Arrival& arrival : history.All())
        writer.Write(arrival);
    writer.Finish(history.LeftOut());
}

}  // namespace logview
