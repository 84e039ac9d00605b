// A console that this process and those that it starts have to themselves, so that Ctrl+C reaches no others.
#pragma once

#include "tests/support/Wine.h"

#include <windows.h>

#include <gtest/gtest.h>

inline constexpr char kNoControlC[] = "Ctrl+C may cost 32-bit programs a thread under Wine";

class COwnConsole final {
public:
    COwnConsole() {
        ::FreeConsole();
        EXPECT_TRUE(::AllocConsole()) << ::GetLastError();
        ::SetConsoleCtrlHandler(StayAlive, TRUE);
    }
    ~COwnConsole() {
        ::SetConsoleCtrlHandler(StayAlive, FALSE);
        ::FreeConsole();
    }
    // Wine 8 answers the key on the thread that it finds first. Where that is busy in 32-bit code, the thread is gone,
    // and the program goes on without it.
    [[nodiscard]] static bool HasSafeControlC() noexcept { return sizeof(void*) == 8 || !IsWine(); }
    static void PressControlC() { EXPECT_TRUE(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) << ::GetLastError(); }

private:
    static BOOL WINAPI StayAlive(DWORD) { return TRUE; }
};
