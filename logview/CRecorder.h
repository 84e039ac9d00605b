// Writes a log into a folder, as RecordingFiles.h describes it. A part that is full is followed by the next one, and
// the oldest parts go; no file of another name is touched. Numbers go on where an earlier recording in the folder
// ended; the two tables are those of the newer one.
//
// What is taken is on the disk after the next Flush, so that killing the process loses what came since. Where the
// folder can't be written to (a full disk, a folder that is gone), records wait for it in memory, a few megabytes of
// them, and are then counted as lost; writing is tried again every few seconds.
//
// Threads: one.  Errors: none are thrown. `tell` hears once that writing fails, with the reason, and once that it goes
// on. Lifetime: the tables must outlive it; its end is a Finish.
#pragma once

#include "logview/CGrowingFile.h"
#include "logview/CProfileTable.h"
#include "logview/CSessions.h"

#include <deque>
#include <functional>
#include <string>

namespace logview {

class CRecorder final {
public:
    struct Options {
        std::wstring folder;                 // made, with those above it, if it isn't there
        ULONGLONG mostPartBytes = 16 << 20;  // of its files together; a longer record has one of its own
        std::size_t mostParts = 20;          // at least 1
        ULONGLONG tablesEveryMs = 10'000;    // how often profile.csv and sessions.csv are written, if they changed
        ULONGLONG retryEveryMs = 5'000;
    };

    CRecorder(Options options, const CProfileTable& profile, const CSessions& sessions,
              std::function<void(const std::wstring&)> tell);
    CRecorder(const CRecorder&) = delete;
    CRecorder& operator=(const CRecorder&) = delete;
    ~CRecorder();

    void Take(const Arrival& arrival) noexcept;

    // Writes what was taken. To be called each second.
    void Flush() noexcept;

    // The same, at once whatever failed before, and both tables.
    void Finish() noexcept;

    // Why the last attempt to write records failed, as an error of the system's; before the first one, why the folder
    // can't be made or written to. ERROR_SUCCESS: it hasn't.
    [[nodiscard]] DWORD Failure() const noexcept { return m_failure; }

    // Whether the tables are as they should be, as far as they have been written.
    [[nodiscard]] bool HaveTablesFailed() const noexcept { return m_haveTablesFailed; }

    // Records and reports that are in no file and no longer in memory.
    [[nodiscard]] ULONGLONG Lost() const noexcept { return m_lost; }

private:
    // Some of what waits to be written, each text for its file. It is written into one part, all of it or nothing.
    struct Piece {
        std::string log, times, profiles;
        ULONGLONG records = 0;
        [[nodiscard]] std::size_t Bytes() const noexcept { return log.size() + times.size() + profiles.size(); }
    };

    // All of these give the system's error, or ERROR_SUCCESS.
    DWORD MakeFolder() const;
    DWORD TryFolder() const;
    DWORD OpenPart();
    DWORD Append(const Piece& piece);
    DWORD Write();
    DWORD WriteTables();

    void WriteOrFail();
    void Fail(DWORD error);
    void ClosePart() noexcept;
    void RemoveOldParts() const;
    void FlushAll(bool isLast);
    void DropOldestPiece() noexcept;
    [[nodiscard]] ULONGLONG PartBytes() const noexcept { return m_log.Size() + m_times.Size() + m_profiles.Size(); }

    const Options m_options;
    const CProfileTable& m_profile;
    const CSessions& m_sessions;
    const std::function<void(const std::wstring&)> m_tell;

    std::deque<Piece> m_pending;  // oldest first; the last one grows
    std::size_t m_pendingBytes = 0;
    CGrowingFile m_log, m_times, m_profiles;
    ULONG m_part = 0;             // the number of the part that is open, or was last
    ULONGLONG m_partRecords = 0;  // what it has
    DWORD m_failure = ERROR_SUCCESS;
    bool m_haveTablesFailed = false;
    ULONGLONG m_retryAtMs = 0, m_tablesAtMs = 0;
    ULONGLONG m_writtenReports = 0, m_writtenChanges = 0;  // what the tables on the disk have
    ULONGLONG m_lost = 0;
};

}  // namespace logview
