// What has come so far, and what is written of it: the recording as it comes, and at the end the timing table, the page
// and the events.
//
// Threads: one, but for ProfileText.  Errors: std::bad_alloc; what fails is in the notes, but for the constructor.
#pragma once

#include "base/CSlimLock.h"
#include "logservice/Options.h"
#include "logview/CHistory.h"
#include "logview/CProfileTable.h"
#include "logview/CRecorder.h"
#include "logview/CSessions.h"

#include <memory>
#include <string>
#include <vector>

namespace logservice {

class CLogBook final {
public:
    // Throws console::CCommandError: an output can't be written. All are tried.
    explicit CLogBook(const Options& options);
    CLogBook(const CLogBook&) = delete;
    CLogBook& operator=(const CLogBook&) = delete;

    void Take(logview::Arrival&& arrival);
    // The process has ended, at `time`, see logview::Arrival.
    void Ended(DWORD processId, ULONGLONG time) noexcept;

    // Puts what has come into the recording. To be called each second.
    void Flush() noexcept;

    // The timing table as lines of this width.
    [[nodiscard]] std::wstring ProfileText(std::size_t width) const;

    // What a person should know about the outputs, since the last call.
    [[nodiscard]] std::vector<std::wstring> TakeNotes();

    // Writes all that is to be written at the end. Once. All are tried.
    // False: something that was asked for isn't there, or not all of it; the notes say what.
    [[nodiscard]] bool Finish();

private:
    void WriteProfile() const;
    void WriteReport() const;
    void WriteTrace() const;

    const Options m_options;
    const bool m_hasHistory;
    std::vector<std::wstring> m_notes;
    mutable base::CSlimLock m_lock;  // guards the profile table against a look while it changes
    logview::CProfileTable m_profile;
    logview::CSessions m_sessions;
    std::unique_ptr<logview::CRecorder> m_recorder;
    logview::CHistory m_history;  // for the page and the events
};

}  // namespace logservice
