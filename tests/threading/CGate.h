// Holds the calls and tasks that come to it until it is opened. No wait of a test is without a limit.
//
// Threads: any.
#pragma once

#include "tests/support/Await.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

class CGate final {
public:
    void Pass() {
        std::unique_lock guard(m_lock);
        ++m_held;
        m_changed.notify_all();
        Await(guard, [&] { return m_isOpen; });
    }
    // Until so many calls have come.
    void AwaitHeld(unsigned calls = 1) {
        std::unique_lock guard(m_lock);
        Await(guard, [&] { return m_held >= calls; });
    }
    void Open() {
        const std::lock_guard guard(m_lock);
        m_isOpen = true;
        m_changed.notify_all();
    }

private:
    template <class Condition>
    void Await(std::unique_lock<std::mutex>& guard, Condition&& condition) {
        EXPECT_TRUE(m_changed.wait_for(guard, std::chrono::milliseconds(kLongMs), condition));
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    unsigned m_held = 0;
    bool m_isOpen = false;
};
