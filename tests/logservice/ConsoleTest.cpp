// The person in front of the service: a console of the test's own, with its keys and what stands on it.
#include "tests/logservice/ServiceTest.h"
#include "tests/support/COwnConsole.h"

#include <string_view>

namespace {

struct ServiceConsoleTest : ServiceTest {
    static base::CAutoHandle Open(const wchar_t* name) {
        SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
        return base::CAutoHandle(::CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                               &inherit, OPEN_EXISTING, 0, nullptr));
    }

    void StartOnConsole(const std::vector<std::wstring>& arguments = {}) {
        Start(arguments, false, screen.Get(), input.Get());
    }
    void Type(std::wstring_view text) const {
        for (const wchar_t character : text) {
            INPUT_RECORD record{};
            record.EventType = KEY_EVENT;
            KEY_EVENT_RECORD& key = record.Event.KeyEvent;
            key.bKeyDown = TRUE;
            key.wRepeatCount = 1;
            key.wVirtualKeyCode = character == L'\r' ? WORD{VK_RETURN} : character == L'\b' ? WORD{VK_BACK} : WORD{0};
            key.uChar.UnicodeChar = character;
            DWORD written = 0;
            ASSERT_TRUE(::WriteConsoleInputW(input.Get(), &record, 1, &written));
        }
    }
    // All that stands there.
    [[nodiscard]] std::string Screen() const {
        CONSOLE_SCREEN_BUFFER_INFO info{};
        EXPECT_TRUE(::GetConsoleScreenBufferInfo(screen.Get(), &info));
        std::string text(static_cast<std::size_t>(info.dwSize.X) * static_cast<std::size_t>(info.dwSize.Y), ' ');
        DWORD read = 0;
        EXPECT_TRUE(
            ::ReadConsoleOutputCharacterA(screen.Get(), text.data(), static_cast<DWORD>(text.size()), {0, 0}, &read));
        return text;
    }

    const COwnConsole console;
    const base::CAutoHandle screen = Open(L"CONOUT$"), input = Open(L"CONIN$");
};

TEST_F(ServiceConsoleTest, AQuestionHasTheAnswerThatIsTyped) {
    StartOnConsole();
    CProgram client(ClientProgram(), {L"mta", L"every"});
    Await([&] { return Has(Screen(), "go on?"); });
    Type(L"x\r");  // no number: asked again
    Await([&] { return Has(Screen(), "The answer is a number"); });
    Type(L"\b42\r");
    EXPECT_EQ(0u, client.Wait());
    EXPECT_TRUE(Has(client.Out(), "answer 42")) << client.Out();
    End();
}

TEST_F(ServiceConsoleTest, AQuestionThatNobodyAnswersHasItsDefaultInTime) {
    StartOnConsole({L"--patience", L"1"});
    CProgram client(ClientProgram(), {L"mta", L"every"});
    EXPECT_EQ(0u, client.Wait());
    EXPECT_TRUE(Has(client.Out(), "answer -77")) << client.Out();
    End();
    StartOnConsole();
    CProgram second(ClientProgram(), {L"sta", L"every"});
    Await([&] {  // the first one stands there, too
        const std::string text = Screen();
        return text.find("go on?") != text.rfind("go on?");
    });
    End();  // the end of the service is no answer
    EXPECT_EQ(0u, second.Wait()) << second.Out();
    EXPECT_TRUE(Has(second.Out(), "answer -77")) << second.Out();
}

TEST_F(ServiceConsoleTest, WhatAPauseHeldBackIsShownAtTheEnd) {
    StartOnConsole();
    Type(L" ");
    Await([&] { return Has(Screen(), "Paused"); });
    CProgram client(ClientProgram(), {L"mta", L"flood", L"5"});
    EXPECT_EQ(0u, client.Wait()) << client.Out();
    Await([&] { return Has(Screen(), "5 lines waiting"); });
    EXPECT_EQ(0, LinesOfProcess(Screen(), client));
    Type(L"q");
    EXPECT_EQ(0u, service->Wait()) << service->Err();
    EXPECT_NE(0, LinesOfProcess(Screen(), client));
    EXPECT_FALSE(Has(Screen(), "waiting"));
}

TEST_F(ServiceConsoleTest, AQuestionIsSeenWhileLinesAreHeldBack) {
    StartOnConsole();
    Type(L" ");
    Await([&] { return Has(Screen(), "Paused"); });
    CProgram client(ClientProgram(), {L"mta", L"every"});
    Await([&] { return Has(Screen(), "Answer (Enter: -77)"); });
    EXPECT_TRUE(Has(Screen(), "go on?") && Has(Screen(), "second")) << Screen();
    EXPECT_FALSE(Has(Screen(), "explicit")) << "it is held back";
    Type(L"5\r");
    EXPECT_EQ(0u, client.Wait());
    EXPECT_TRUE(Has(client.Out(), "answer 5")) << client.Out();
    End();
}

TEST_F(ServiceConsoleTest, ControlCEndsItInOrder) {
    if (!COwnConsole::HasSafeControlC())
        GTEST_SKIP() << kNoControlC;
    StartOnConsole();
    CProgram client(ClientProgram(), {L"mta", L"flood", L"5"});
    EXPECT_EQ(0u, client.Wait()) << client.Out();
    COwnConsole::PressControlC();
    EXPECT_EQ(0u, service->Wait()) << service->Err();
    EXPECT_NE(0, LinesOfProcess(Screen(), client));
}

TEST_F(ServiceConsoleTest, KeysShowTheTimingAndEndIt) {
    StartOnConsole({L"--patience", L"0"});
    CProgram client(ClientProgram(), {L"mta", L"every"});
    EXPECT_EQ(0u, client.Wait()) << client.Out();
    Await([&] { return Has(Screen(), "explicit"); });
    EXPECT_FALSE(Has(Screen(), "78187493520")) << "timing is no line";
    Type(L"p");
    Await([&] { return Has(Screen(), "78187493520"); });
    Type(L"q");
    EXPECT_EQ(0u, service->Wait());
}

}  // namespace
