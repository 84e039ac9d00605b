// Questions that writers ask, on their way to the person in front of the console and back.
//
// Threads: Ask any, many at once; the others the console's.  Units: milliseconds.
#pragma once

#include "base/CSlimLock.h"
#include "logview/CLogSink.h"

#include <list>
#include <optional>
#include <string>

namespace logservice {

class CQuestions final {
public:
    // `patienceMs`: how long a writer waits for an answer; 0: nobody is there to ask.
    explicit CQuestions(DWORD patienceMs) noexcept;
    CQuestions(const CQuestions&) = delete;
    CQuestions& operator=(const CQuestions&) = delete;

    // Waits for the answer, and for those to questions that came before. The default answer when the time is over, or
    // after Close.
    [[nodiscard]] LONG Ask(const logview::Question& question);

    // The oldest one that waits, and stays until it is answered or given up.  Nothing: there is none.
    struct Open {
        ULONGLONG number = 0;
        logview::Question question;
        DWORD leftMs = 0;  // until it is given up
    };
    [[nodiscard]] std::optional<Open> Next() const;

    // False: it has been given up meanwhile.
    bool Answer(ULONGLONG number, LONG answer) noexcept;

    // All that wait, and all that come, have their default answer.
    void Close() noexcept;

private:
    struct Waiting {
        ULONGLONG number = 0;
        const logview::Question* question = nullptr;
        ULONGLONG untilMs = 0;
        std::optional<LONG> answer;
    };

    const DWORD m_patienceMs;

    mutable base::CSlimLock m_lock;  // guards all below
    CONDITION_VARIABLE m_answered = CONDITION_VARIABLE_INIT;
    std::list<Waiting> m_waiting;
    ULONGLONG m_last = 0;
    bool m_isClosed = false;
};

}  // namespace logservice
