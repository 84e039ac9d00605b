// Which processes have written to a log, from when to when, and how much.
//
// Beyond a limit, the process that has ended first makes room for a new one; where all run, the one that was longest
// silent.
//
// An explicit record doesn't tell its process, so it belongs to none.
// Times: as in Arrival.  Threads: one.  Errors: std::bad_alloc.
#pragma once

#include "logview/Records.h"

#include <array>
#include <list>
#include <map>
#include <string>
#include <vector>

namespace logview {

struct Session {
    ULONG processId = 0;
    std::wstring process;
    ULONGLONG first = 0, last = 0;          // when its first and last record came
    ULONGLONG end = 0;                      // when the process ended; 0: it runs, or nobody knows
    std::array<ULONGLONG, 5> severities{};  // records of severity 0 to 4
    ULONGLONG others = 0;                   // records of other severities
    ULONGLONG reports = 0;                  // of timing sites
};

class CSessions final {
public:
    static constexpr std::size_t kMostSessions = 10'000;

    // A record that came more than a second after its process ended, or with another name than that number had, begins
    // another session.
    void Take(const Arrival& arrival);

    // The process has ended, at `time`. Without records of it, nothing is noted.
    void Ended(ULONG processId, ULONGLONG time) noexcept;

    // In the order of their first records.
    [[nodiscard]] std::vector<Session> All() const;

    // How many had to go.
    [[nodiscard]] ULONGLONG LeftOut() const noexcept { return m_leftOut; }

    // Changes with all that is noted: whether there is something new to write.
    [[nodiscard]] ULONGLONG Changes() const noexcept { return m_changes; }

    // As CSV (RFC 4180, UTF-8, with a head). One session is one line; where some had to go, a last line without a
    // process number says how many.
    [[nodiscard]] std::string Csv() const;

private:
    struct Noted {
        Session session;
        ULONGLONG number = 0;  // in the order of first records
    };
    using Place = std::list<Noted>::iterator;

    [[nodiscard]] Session& SessionOf(ULONG processId, const Arrival& arrival);
    void RemoveOldest() noexcept;

    std::list<Noted> m_running;       // that which was longest silent first
    std::list<Noted> m_ended;         // that which ended first comes first
    std::map<ULONG, Place> m_newest;  // the last session of each process number
    ULONGLONG m_begun = 0, m_leftOut = 0, m_changes = 0;
};

}  // namespace logview
