// A console that this process and those that it starts have to themselves, so that Ctrl+C reaches no others.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

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
    static void PressControlC() { EXPECT_TRUE(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) << ::GetLastError(); }

private:
    static BOOL WINAPI StayAlive(DWORD) { return TRUE; }
};
