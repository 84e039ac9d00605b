#include "logservice/CLogBook.h"

#include "base/FormatText.h"
#include "console/CCommandError.h"
#include "console/COutputFile.h"
#include "console/Text.h"
#include "logview/LogPage.h"
#include "logview/ProfileText.h"
#include "logview/TraceEvents.h"

#include <mutex>
#include <new>
#include <utility>

namespace logservice {

namespace {

// The greatest figure first, names from A on.
bool IsDescending(logview::ProfileColumn column) noexcept {
    return column >= logview::ProfileColumn::Count;
}

}  // namespace

CLogBook::CLogBook(const Options& options)
    : m_options(options), m_hasHistory(!options.report.empty() || !options.trace.empty()) {
    // Somebody who mistyped a path learns it now, not after a day.
    for (const std::wstring& path : {options.profile, options.report, options.trace}) {
        if (!path.empty())
            static_cast<void>(console::CReplacingFile(path));
    }
    if (options.record.empty())
        return;
    m_recorder = std::make_unique<logview::CRecorder>(
        logview::CRecorder::Options{options.record, options.partBytes, options.partCount}, m_profile, m_sessions,
        [this](const std::wstring& text) { m_notes.push_back(text); });
    if (const DWORD error = m_recorder->Failure(); error != ERROR_SUCCESS)
        throw console::CCommandError(L"Cannot record into " + console::Printable(options.record),
                                     HRESULT_FROM_WIN32(error));
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
    ULONGLONG leftOut = 0;
    {
        const std::lock_guard lock(m_lock);
        rows = m_profile.Rows(m_options.sort, IsDescending(m_options.sort));
        leftOut = m_profile.LeftOut();
    }
    return logview::ProfileText(rows, width, leftOut);
}

void CLogBook::WriteProfile() const {
    if (m_options.profile.empty())
        return;
    console::CReplacingFile file(m_options.profile);
    file.Write(logview::ProfileCsv(m_profile.Rows(m_options.sort, IsDescending(m_options.sort)), m_profile.LeftOut()));
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

std::vector<std::wstring> CLogBook::TakeNotes() {
    return std::exchange(m_notes, {});
}

bool CLogBook::Finish() {
    bool isWhole = true;
    if (m_recorder) {
        m_recorder->Finish();
        if (m_recorder->Lost() > 0)
            m_notes.push_back(
                base::FormatText(L"The recording lacks %I64u records that could not be written", m_recorder->Lost()));
        else if (m_recorder->Failure() != ERROR_SUCCESS)
            m_notes.push_back(L"Cannot record into " + console::Printable(m_options.record) + L": " +
                              console::ResultText(HRESULT_FROM_WIN32(m_recorder->Failure())));
        if (m_recorder->HaveTablesFailed())
            m_notes.push_back(L"The tables of the recording are missing, or not the newest");
        isWhole = m_recorder->Lost() == 0 && m_recorder->Failure() == ERROR_SUCCESS && !m_recorder->HaveTablesFailed();
    }
    for (void (CLogBook::*const write)() const :
         {&CLogBook::WriteProfile, &CLogBook::WriteReport, &CLogBook::WriteTrace}) {
        try {
            (this->*write)();
        } catch (const console::CCommandError& error) {
            m_notes.push_back(error.Text());
            isWhole = false;
        } catch (const std::bad_alloc&) {
            m_notes.push_back(L"Out of memory for an output");
            isWhole = false;
        }
    }
    return isWhole;
}

}  // namespace logservice
