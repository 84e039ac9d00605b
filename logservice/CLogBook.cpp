#include "logservice/CLogBook.h"

#include "console/CCommandError.h"
#include "console/COutputFile.h"
#include "logview/LogPage.h"
#include "logview/ProfileText.h"
#include "logview/TraceEvents.h"

#include <mutex>
#include <optional>
#include <utility>

namespace logservice {

CLogBook::CLogBook(const Options& options, std::function<void(const std::wstring&)> tell)
    : m_options(options), m_hasHistory(!options.report.empty() || !options.trace.empty()) {
    if (!options.record.empty())
        m_recorder = std::make_unique<logview::CRecorder>(
            logview::CRecorder::Options{options.record, options.fileBytes, options.fileCount}, m_profile, m_sessions,
            std::move(tell));
}

void CLogBook::Take(logview::Arrival&& arrival) {
    {
        const std::lock_guard lock(m_lock);
        m_profile.Take(arrival);
    }
    m_sessions.Take(arrival);
    if (m_recorder)
        m_recorder->Take(arrival);
    if (m_hasHistory)
        m_history.Take(std::move(arrival));
}

void CLogBook::Ended(DWORD processId, ULONGLONG time) noexcept {
    m_sessions.Ended(processId, time);
}

void CLogBook::Flush() noexcept {
    if (m_recorder)
        m_recorder->Flush();
}

std::wstring CLogBook::ProfileText(std::size_t width) const {
    std::vector<logview::ProfileRow> rows;
    {
        const std::lock_guard lock(m_lock);
        rows = m_profile.Rows();
    }
    return logview::ProfileText(rows, width);
}

void CLogBook::WriteProfile() const {
    if (m_options.profile.empty())
        return;
    console::CReplacingFile file(m_options.profile);
    file.Write(logview::ProfileCsv(m_profile.Rows()));
    file.Finish();
}

void CLogBook::WriteReport() const {
    if (!m_options.report.empty())
        logview::WriteLogPage(m_options.report, m_history, m_profile, m_sessions);
}

void CLogBook::WriteTrace() const {
    if (!m_options.trace.empty())
        logview::WriteTraceEvents(m_options.trace, m_history);
}

void CLogBook::Finish() {
    if (m_recorder)
        m_recorder->Finish();
    std::optional<console::CCommandError> first;
    for (void (CLogBook::*const write)() const :
         {&CLogBook::WriteProfile, &CLogBook::WriteReport, &CLogBook::WriteTrace}) {
        try {
            (this->*write)();
        } catch (const console::CCommandError& error) {
            if (!first)
                first = error;
        }
    }
    if (first)
        throw *first;
}

}  // namespace logservice
