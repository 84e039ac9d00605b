// The log on the console, with the person in front of it, on a thread of its own: a console that is blocked (by text
// that is being marked in it, say) or a pipe that nobody reads holds nothing up but itself.
//
// Threads: one, but for Put.  Lifetime: its end waits a little for the thread, and leaves it behind if it is blocked.
#pragma once

#include "logservice/CQuestions.h"
#include "logview/CRecordFilter.h"
#include "logview/CRecordQueue.h"
#include "threading/CCallQueue.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace logservice {

class CLiveLog final {
public:
    struct Settings {
        logview::CRecordFilter filter;
        std::function<std::wstring(std::size_t)> profileTable;  // of a width; called on the console's thread
        std::shared_ptr<CQuestions> questions;                  // null: none are asked
        HANDLE ending = nullptr;                                // signalled when the person wants an end
        bool endsWithOutput = false;  // whether that is so, too, when the output can't be written
        bool showsLines = true;       // false: and no timing table at the end
    };

    // Throws std::bad_alloc.
    explicit CLiveLog(Settings settings);
    CLiveLog(const CLiveLog&) = delete;
    CLiveLog& operator=(const CLiveLog&) = delete;
    ~CLiveLog();

    // Shows it, soon. Never waits; what a blocked console has no room for is left out and counted.
    void Put(const logview::Arrival& arrival) noexcept;
    // The same with a line of the program's own.
    void Note(const std::wstring& text) noexcept;

    // Shows what is left, also behind a pause, and the timing table.  False: the console takes nothing within
    // `limitMs`.
    bool Stop(DWORD limitMs) noexcept;

    // Behind Stop: why the output isn't whole; empty: it is. A closed pipe, whose reader has read enough, doesn't
    // count, nor what a person on whose console too much came didn't see.
    [[nodiscard]] std::wstring Fault() const;

private:
    struct Shared;

    const std::shared_ptr<Shared> m_shared;
    bool m_isStopped = false;  // whether somebody has waited for the end
    bool m_isCut = false;      // and in vain
    threading::CCallQueue m_thread;
};

}  // namespace logservice
