#include "logview/CSessions.h"

#include "base/Times.h"
#include "logview/LogTexts.h"

#include <algorithm>

namespace logview {

namespace {

constexpr std::size_t kLongestName = 260;

// The platform may deliver a call of a process that has ended a moment before.
constexpr ULONGLONG kOnTheWay = base::kTicksASecond;

bool IsOf(const Session& session, const Arrival& arrival) {
    const bool hasName = !session.process.empty() && !arrival.process.empty();
    return (session.end == 0 || arrival.time <= session.end + kOnTheWay) &&
           (!hasName || std::wstring_view(arrival.process).substr(0, kLongestName) == session.process);
}

}  // namespace

Session& CSessions::SessionOf(ULONG processId, const Arrival& arrival) {
    const auto newest = m_newest.find(processId);
    if (newest != m_newest.end() && IsOf(newest->second->session, arrival)) {
        if (newest->second->session.end == 0)
            m_running.splice(m_running.end(), m_running, newest->second);
        return newest->second->session;
    }
    std::list<Noted> made(1);
    made.front().session.processId = processId;
    made.front().session.first = arrival.time;
    made.front().number = ++m_begun;
    if (newest != m_newest.end()) {  // its number belongs to another one now
        if (newest->second->session.end == 0)
            m_ended.splice(m_ended.end(), m_running, newest->second);
        newest->second = made.begin();
    } else {
        m_newest.emplace(processId, made.begin());
    }
    m_running.splice(m_running.end(), made);
    if (m_running.size() + m_ended.size() > kMostSessions)
        RemoveOldest();
    return m_running.back().session;
}

void CSessions::RemoveOldest() noexcept {
    std::list<Noted>& from = m_ended.empty() ? m_running : m_ended;
    const auto newest = m_newest.find(from.front().session.processId);
    if (newest != m_newest.end() && newest->second == from.begin())
        m_newest.erase(newest);
    from.pop_front();
    ++m_leftOut;
}

void CSessions::Take(const Arrival& arrival) {
    const auto* const record = std::get_if<LogRecord>(&arrival.record);
    if (record && record->explicitValues)
        return;
    Session& session = SessionOf(std::visit([](const auto& one) { return one.processId; }, arrival.record), arrival);
    if (session.process.empty())
        session.process = arrival.process.substr(0, kLongestName);
    session.first = session.first == 0 ? arrival.time : session.first;
    session.last = std::max(session.last, arrival.time);
    session.end = session.end == 0 ? 0 : std::max(session.end, session.last);
    if (!record)
        ++session.reports;
    else if (record->severity >= 0 && record->severity <= 4)
        ++session.severities[static_cast<std::size_t>(record->severity)];
    else
        ++session.others;
    ++m_changes;
}

void CSessions::Ended(ULONG processId, ULONGLONG time) noexcept {
    const auto newest = m_newest.find(processId);
    if (newest == m_newest.end() || newest->second->session.end != 0)
        return;
    const ULONGLONG end = std::max(time, newest->second->session.last);
    if (end == 0)  // nothing of it has a time
        return;
    newest->second->session.end = end;
    m_ended.splice(m_ended.end(), m_running, newest->second);
    ++m_changes;
}

std::vector<Session> CSessions::All() const {
    std::vector<const Noted*> noted;
    for (const std::list<Noted>* const list : {&m_running, &m_ended}) {
        for (const Noted& each : *list)
            noted.push_back(&each);
    }
    std::ranges::sort(noted, {}, &Noted::number);
    std::vector<Session> sessions;
    sessions.reserve(noted.size());
    for (const Noted* const each : noted)
        sessions.push_back(each->session);
    return sessions;
}

std::string CSessions::Csv() const {
    std::string text = "process_id,process,first,last,end,debug,info,warn,error,fatal,others,timing_reports\r\n";
    for (const Session& session : All()) {
        text.append(std::to_string(session.processId)).append(1, ',').append(CsvField(session.process));
        for (const ULONGLONG time : {session.first, session.last, session.end})
            text.append(1, ',').append(IsoTime(time));
        for (const ULONGLONG count : session.severities)
            text.append(1, ',').append(std::to_string(count));
        for (const ULONGLONG count : {session.others, session.reports})
            text.append(1, ',').append(std::to_string(count));
        text += "\r\n";
    }
    if (m_leftOut > 0)
        text += ",(" + std::to_string(m_leftOut) + " older processes are left out),,,,,,,,,,\r\n";
    return text;
}

}  // namespace logview
