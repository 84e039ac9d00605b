#include "logview/CSessions.h"

#include "logview/LogTexts.h"

#include <algorithm>

namespace logview {

namespace {

constexpr std::size_t kLongestName = 260;

bool IsOf(const Session& session, const Arrival& arrival) {
    const bool hasName = !session.process.empty() && !arrival.process.empty();
    return (session.end == 0 || arrival.time <= session.end) &&
           (!hasName || std::wstring_view(arrival.process).substr(0, kLongestName) == session.process);
}

}  // namespace

Session* CSessions::SessionOf(ULONG processId, const Arrival& arrival) {
    const auto newest = m_newest.find(processId);
    if (newest != m_newest.end() && IsOf(m_sessions[newest->second], arrival))
        return &m_sessions[newest->second];
    if (m_sessions.size() >= kMostSessions)
        return nullptr;
    Session session;
    session.processId = processId;
    session.first = arrival.time;
    m_sessions.push_back(session);
    m_newest[processId] = m_sessions.size() - 1;
    return &m_sessions.back();
}

void CSessions::Take(const Arrival& arrival) {
    const auto* const record = std::get_if<LogRecord>(&arrival.record);
    if (record && record->explicitValues)
        return;
    Session* const session =
        SessionOf(std::visit([](const auto& one) { return one.processId; }, arrival.record), arrival);
    if (!session)
        return;
    if (session->process.empty())
        session->process = arrival.process.substr(0, kLongestName);
    session->first = session->first == 0 ? arrival.time : session->first;
    session->last = std::max(session->last, arrival.time);
    if (!record)
        ++session->reports;
    else if (record->severity >= 0 && record->severity <= 4)
        ++session->severities[static_cast<std::size_t>(record->severity)];
    else
        ++session->others;
    ++m_changes;
}

void CSessions::Ended(ULONG processId, ULONGLONG time) noexcept {
    const auto newest = m_newest.find(processId);
    if (newest == m_newest.end() || m_sessions[newest->second].end != 0)
        return;
    m_sessions[newest->second].end = std::max(time, m_sessions[newest->second].last);
    ++m_changes;
}

std::string CSessions::Csv() const {
    std::string text = "process_id,process,first,last,end,debug,info,warn,error,fatal,others,timing_reports\r\n";
    for (const Session& session : m_sessions) {
        text.append(std::to_string(session.processId)).append(1, ',').append(CsvField(session.process));
        for (const ULONGLONG time : {session.first, session.last, session.end})
            text.append(1, ',').append(IsoTime(time));
        for (const ULONGLONG count : session.severities)
            text.append(1, ',').append(std::to_string(count));
        for (const ULONGLONG count : {session.others, session.reports})
            text.append(1, ',').append(std::to_string(count));
        text += "\r\n";
    }
    return text;
}

}  // namespace logview
