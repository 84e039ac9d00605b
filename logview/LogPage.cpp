#include "logview/LogPage.h"

#include "base/Times.h"
#include "logview/CJsonFile.h"
#include "logview/LogPageFrame.h"
#include "logview/LogTexts.h"

#include <unordered_map>
#include <vector>

namespace logview {

namespace {

using console::Json;

// Whole microseconds since 1970, as the page's script counts; null: not known.
Json PageTime(ULONGLONG time) {
    return time == 0 ? Json() : Json(base::MicrosecondsSince1970(time));
}

// Texts that come again and again; a record has their numbers.
class CTextNumbers final {
public:
    std::size_t Of(const std::wstring& text) {
        const auto [found, isNew] = m_numbers.emplace(text, m_texts.size());
        if (isNew)
            m_texts.push_back(&found->first);
        return found->second;
    }
    [[nodiscard]] const std::vector<const std::wstring*>& All() const noexcept { return m_texts; }

private:
    std::unordered_map<std::wstring, std::size_t> m_numbers;
    std::vector<const std::wstring*> m_texts;
};

Json TextJson(const std::wstring& text) {
    return console::JsonText(OneLine(text));
}

Json RecordJson(const Arrival& arrival, const LogRecord& record, CTextNumbers& texts) {
    Json row = {PageTime(arrival.time),    record.severity,  texts.Of(record.category),
                texts.Of(arrival.process), record.processId, record.threadId,
                texts.Of(record.file),     record.line,      texts.Of(record.function),
                TextJson(record.message)};
    if (record.explicitValues) {
        row.push_back(record.explicitValues->value);
        row.push_back(record.explicitValues->flag);
    }
    return row;
}

Json RowJson(const ProfileRow& row) {
    return {{"process", TextJson(row.process)},
            {"pid", row.processId},
            {"category", TextJson(row.category)},
            {"file", TextJson(row.file)},
            {"line", row.line},
            {"function", TextJson(row.function)},
            {"text", TextJson(row.text)},
            {"inner", row.isInner},
            {"count", row.count},
            {"rate", row.callsASecond ? Json(*row.callsASecond) : Json()},
            {"mean", row.mean},
            {"longest", row.longest},
            {"total", row.total},
            {"share", row.share}};
}

Json SessionJson(const Session& session) {
    return {{"process", TextJson(session.process)},
            {"pid", session.processId},
            {"first", PageTime(session.first)},
            {"last", PageTime(session.last)},
            {"end", PageTime(session.end)},
            {"severities", session.severities},
            {"others", session.others},
            {"reports", session.reports}};
}

}  // namespace

void WriteLogPage(const std::wstring& path, const CHistory& history, const CProfileTable& profile,
                  const CSessions& sessions) {
    const std::size_t data = kLogPageFrame.find(kDataHere);
    CJsonFile file(path);
    file.Add(kLogPageFrame.substr(0, data));
    CTextNumbers texts;
    file.BeginList("{\"records\":[");
    for (const Arrival& arrival : history.All()) {
        if (const auto* const record = std::get_if<LogRecord>(&arrival.record))
            file.AddItem(RecordJson(arrival, *record, texts));
    }
    file.BeginList("],\n\"texts\":[");
    for (const std::wstring* const text : texts.All())
        file.AddItem(TextJson(*text));
    file.BeginList("],\n\"profile\":[");
    for (const ProfileRow& row : profile.Rows())
        file.AddItem(RowJson(row));
    file.BeginList("],\n\"sessions\":[");
    for (const Session& session : sessions.All())
        file.AddItem(SessionJson(session));
    file.Add("],\n\"leftOut\":" + std::to_string(history.LeftOut()) + ",\"sitesLeftOut\":" +
             std::to_string(profile.LeftOut()) + ",\"processesLeftOut\":" + std::to_string(sessions.LeftOut()) + "}\n");
    file.Add(kLogPageFrame.substr(data + kDataHere.size()));
    file.Finish();
}

}  // namespace logview
