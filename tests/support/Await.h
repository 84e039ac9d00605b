// The wait of a test for what comes by itself: after a minute it ends, as a failure.
//
// Threads: any.
#pragma once

#include "base/CDeadline.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

inline constexpr DWORD kLongMs = 60'000;

template <class Condition>
void Await(Condition&& condition) {
    for (const base::CDeadline limit(kLongMs); !condition();) {
        if (limit.IsOver()) {
            ADD_FAILURE() << "it has not come";
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));  // what is awaited may need the processor
    }
}
