// Notices that an activity which should go on doesn't, and logs it: once when the limit has passed without a sign of
// life, and once when the activity goes on or ends after all.
//
//   CHangDetector copying(kSource, __LINE__, L"CThing::Copy", 5000, [&] { return L"copying " + name; });
//   while (Copy(block))
//       copying.KeepAlive();
//
//   Hangs for 5250 ms: copying C:\clip.avi (thread 312, in CThing::Read)
//   Goes on after 9000 ms: copying C:\clip.avi (thread 312)
//
// One thread for the module looks at all activities, four times a second, so times are exact to a quarter of a second.
// Time in which the machine slept, or a debugger had stopped the process, doesn't count. The thread is started by the
// first activity, keeps the module loaded, and ends by itself some seconds after the last one. "in" is the innermost
// timed scope of the activity's thread, as far as that is known: the scope's site is timed, and the thread had its
// logger when it began.
//
// On a thread without a logger nothing is watched, described or started, unless there is a listener.
//
// Threads: made and destroyed by one, which is the one that is named; KeepAlive any.
// Lifetime: not from DllMain, nor from constructors and destructors of statics. The destructor waits a fifth of a
// second at most for a message that is just being told; it may come later then. The constructor may look for the
// thread's logger, and the destructor may write a record: hold nothing then that a record must not be written under.
// Errors: none; where memory is out or no thread can be had, nothing is watched.
// Units: milliseconds.
#pragma once

#include "base/ComBoundary.h"
#include "diagnostics/LogSite.h"

#include <atomic>
#include <memory>
#include <string>

namespace TKRuntimeLogger {

class CHangDetector final {
public:
    // Hears every message, too, also where there is no logger. It is called on the watching thread, or on the
    // activity's at its end, and keeps all other activities from being watched meanwhile.
    using Listener = void (*)(const std::wstring& message);

    // `source` and what it names are statics, `function` is a literal, `line` is __LINE__. `limitMs` INFINITE: never.
    // `describe` gives the words for the activity; it is called here and now, if at all.
    template <class Describe>
    CHangDetector(const LogSource& source, LONG line, const wchar_t* function, DWORD limitMs, Describe&& describe,
                  Listener listener = nullptr) noexcept {
        if (listener || ThreadLogger())
            base::RunQuietly([&] { Begin({source, line, function, limitMs, describe(), listener}); });
    }
    CHangDetector(const CHangDetector&) = delete;
    CHangDetector& operator=(const CHangDetector&) = delete;
    ~CHangDetector() {
        if (m_activity)
            End();
    }

    // The activity goes on. Costs one interlocked addition.
    void KeepAlive() noexcept {
        if (m_signs)
            m_signs->fetch_add(1, std::memory_order_relaxed);
    }

private:
    struct Description {
        const LogSource& source;
        LONG line;
        const wchar_t* function;
        DWORD limitMs;
        std::wstring words;
        Listener listener;
    };
    struct Activity;
    struct Watcher;

    void Begin(const Description& description);
    void End() noexcept;

    std::shared_ptr<Activity> m_activity;  // null: not watched
    std::atomic<unsigned>* m_signs = nullptr;
};

}  // namespace TKRuntimeLogger
