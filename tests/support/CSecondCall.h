// Whether two calls keep out of each other's way: one is stopped in the midst, and another is tried meanwhile.
//
//   EXPECT_FALSE(EndsBeside([&] { cache.Store(key, 1); }, [&] { static_cast<void>(cache.Find(key)); }));
//
// If the second call hasn't returned within a second it counts as waiting. It then goes on by itself as soon as it may.
// Threads: the one that made the object.
#pragma once

#include "tests/support/Await.h"
#include "tests/support/CImportHook.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

// A call on a thread of its own; the destructor waits for its end.
class CSecondCall final {
public:
    explicit CSecondCall(std::function<void()> body)
        : m_thread([this, run = std::move(body)] {
              run();
              m_ended = true;
          }) {}

    // For a call that must end: waits until it has.
    void AwaitEnd() const {
        Await([this] { return m_ended.load(); });
    }
    // Gives it a second to end, in which the processors are for others.
    [[nodiscard]] bool Ends() const {
        for (const base::CDeadline limit(1000); !m_ended && !limit.IsOver();)
            ::Sleep(1);
        return m_ended;
    }

private:
    std::atomic<bool> m_ended{false};
    std::jthread m_thread;
};

namespace Detail {
// The thread whose next allocation is reported, 0 for none. No thread-local variable: the compiler's are themselves
// allocated.
inline std::atomic<DWORD> g_telling{0};
inline std::function<void()> g_tell;
inline void* (*g_allocate)(std::size_t) = nullptr;

inline void* TellAndAllocate(std::size_t bytes) {
    if (DWORD self = ::GetCurrentThreadId(); g_telling.compare_exchange_strong(self, 0))
        g_tell();
    return g_allocate(bytes);
}
}  // namespace Detail

// Whether `second` comes to its end on another thread while `first` stands in its first allocation of memory.
inline bool EndsBeside(const std::function<void()>& first, const std::function<void()>& second) {
    std::optional<CSecondCall> call;
    bool ended = false;
    Detail::g_tell = [&] { ended = call.emplace(second).Ends(); };
    const CImportHook hook("malloc", &Detail::TellAndAllocate, &Detail::g_allocate);
    Detail::g_telling = ::GetCurrentThreadId();
    first();
    EXPECT_EQ(0u, Detail::g_telling.exchange(0)) << "nothing was allocated";
    return ended;
}
