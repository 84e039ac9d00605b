#include "diagnostics/CheckedCall.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <cwchar>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"checked_call_test"};
constexpr HRESULT kUnknownCode = static_cast<HRESULT>(0xA0BCDEF1);  // a code of no facility that the system knows

// The system's text for a code, as it stands, or nothing.
std::wstring SystemText(HRESULT hr) {
    wchar_t text[1024];
    const DWORD length =
        ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, static_cast<DWORD>(hr),
                         0x400, text, static_cast<DWORD>(std::size(text)), nullptr);
    return {text, length};
}

HRESULT Answer(HRESULT hr, int = 0) {
    return hr;
}

int g_afterwards = 0;

HRESULT Guarded(HRESULT result) {
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kSource, L"CThing::Guarded", hr);
    // clang-format off
    TK_CHECK_CALL(kSource, L"CThing::Guarded", hr, Answer(result,1));
    // clang-format on
    ++g_afterwards;
    return hr;
}

HRESULT WithGivenText(HRESULT result) {
    HRESULT hr = S_OK;
    TK_CHECK_CALL_AS(kSource, L"CThing::Given", hr, Answer(result), L"pThing->Do(&x,100%)");
    return S_FALSE;
}

HRESULT WithPointers(const void* pStream, void** ppStream) {
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kSource, L"CThing::Pointers", hr);
    TK_CHECK_RETVAL(kSource, L"CThing::Pointers", hr, ppStream);
    TK_CHECK_POINTER(kSource, L"CThing::Pointers", hr, pStream);
    return hr;
}

std::vector<LoggedRecord> RecordsOf(const std::function<void()>& body) {
    CPublishedLogger published;
    OnNewThread(body);
    return published->Records();
}

std::vector<std::wstring> MessagesOf(const std::function<void()>& body) {
    std::vector<std::wstring> messages;
    for (const LoggedRecord& record : RecordsOf(body)) {
        EXPECT_EQ(3, record.severity);
        EXPECT_EQ(L"TestModule", record.category);
        EXPECT_EQ(L"checked_call_test", record.file);
        EXPECT_LT(0, record.line);
        messages.push_back(record.message);
    }
    return messages;
}

TEST(HResultTextTest, IsTheSystemsTextWithoutItsLastTwoCharacters) {
    for (const HRESULT hr : {E_OUTOFMEMORY, E_FAIL, E_INVALIDARG, HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)}) {
        const std::wstring text = SystemText(hr);
        ASSERT_LT(2u, text.size());
        EXPECT_EQ(text.substr(0, text.size() - 2), HResultText(hr));
    }
}

TEST(HResultTextTest, UnknownCodeIsItsDigits) {
    ASSERT_EQ(L"", SystemText(kUnknownCode));
    EXPECT_EQ(L"A0BCDEF1 <no error message>", HResultText(kUnknownCode));
}

TEST(CheckedCallTest, FailureLogsTheCallAndThenTheFunction) {
    g_afterwards = 0;
    const auto messages = MessagesOf([] { EXPECT_EQ(E_FAIL, Guarded(E_FAIL)); });
    const std::wstring text = HResultText(E_FAIL);
    EXPECT_EQ(
        (std::vector<std::wstring>{L"ERROR: hr=0x80004005 (\"" + text + L"\"), from call Answer(result,1)",
                                   L"CThing::Guarded failed on exit scope: HRESULT 0x80004005 (\"" + text + L"\")"}),
        messages);
    EXPECT_EQ(0, g_afterwards);
}

TEST(CheckedCallTest, CallIsWrittenInUpperCaseAndTheExitInLowerCase) {
    const auto messages = MessagesOf([] { Guarded(kUnknownCode); });
    EXPECT_EQ((std::vector<std::wstring>{
                  L"ERROR: hr=0xA0BCDEF1 (\"A0BCDEF1 <no error message>\"), from call Answer(result,1)",
                  L"CThing::Guarded failed on exit scope: HRESULT 0xa0bcdef1 (\"A0BCDEF1 <no error message>\")"}),
              messages);
}

TEST(CheckedCallTest, SuccessLogsNothingAndGoesOn) {
    g_afterwards = 0;
    EXPECT_TRUE(MessagesOf([] {
                    EXPECT_EQ(S_OK, Guarded(S_OK));
                    EXPECT_EQ(S_FALSE, Guarded(S_FALSE));
                    EXPECT_EQ(S_FALSE, WithGivenText(S_OK));
                }).empty());
    EXPECT_EQ(2, g_afterwards);
}

TEST(CheckedCallTest, GivenTextStandsForTheCall) {
    EXPECT_EQ(std::vector{L"ERROR: hr=0x80004005 (\"" + HResultText(E_FAIL) + L"\"), from call pThing->Do(&x,100%)"},
              MessagesOf([] { EXPECT_EQ(E_FAIL, WithGivenText(E_FAIL)); }));
}

TEST(CheckedCallTest, GivenDescriptionStandsForTheSystemsText) {
    EXPECT_EQ(std::vector<std::wstring>{L"ERROR: hr=0x80004005 (\"described\"), from call Do()"},
              MessagesOf([] { LogFailedCall(kSource, 1, L"func", E_FAIL, L"described", L"Do()"); }));
}

TEST(CheckedCallTest, RecordNamesTheFunctionAndTheLine) {
    const auto records = RecordsOf([] { Guarded(E_FAIL); });
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(L"CThing::Guarded", records[0].function);
    EXPECT_EQ(L"CThing::Guarded", records[1].function);
    EXPECT_GT(records[0].line, records[1].line) << "the guard stands above the call";
}

TEST(CheckedCallTest, NullPointersAreNamed) {
    int thing = 0;
    void* result = nullptr;
    const std::wstring exit =
        L"CThing::Pointers failed on exit scope: HRESULT 0x80004003 (\"" + HResultText(E_POINTER) + L"\")";
    EXPECT_EQ((std::vector<std::wstring>{L"ERROR: retval pointer ppStream is null", exit,
                                         L"ERROR: pointer pStream is null", exit}),
              MessagesOf([&] {
                  EXPECT_EQ(E_POINTER, WithPointers(&thing, nullptr));
                  EXPECT_EQ(E_POINTER, WithPointers(nullptr, &result));
                  EXPECT_EQ(S_OK, WithPointers(&thing, &result));
              }));
}

TEST(CheckedCallTest, ResultsAreTheSameWithoutALogger) {
    OnNewThread([] {
        EXPECT_EQ(E_FAIL, Guarded(E_FAIL));
        EXPECT_EQ(S_FALSE, Guarded(S_FALSE));
        EXPECT_EQ(E_POINTER, WithPointers(nullptr, nullptr));
    });
}

TEST(CheckedCallTest, LastErrorSurvives) {
    RecordsOf([] {
        ::SetLastError(ERROR_DISK_FULL);
        Guarded(kUnknownCode);  // asking for a text that isn't there is an error of its own
        EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError());
    });
}

TEST(ExitScopeGuardTest, DetailIsNamedUnlessItIsEmpty) {
    const std::wstring tail = L": HRESULT 0x80004005 (\"" + HResultText(E_FAIL) + L"\")";
    const std::pair<const wchar_t*, std::wstring> cases[] = {{nullptr, L"Open failed on exit scope" + tail},
                                                             {L"", L"Open failed on exit scope" + tail},
                                                             {L"50%", L"Open failed on exit scope (50%)" + tail}};
    for (const auto& [detail, message] : cases) {
        const auto records = RecordsOf([detail = detail] {
            const HRESULT hr = E_FAIL;
            const CExitScopeGuard guard(kFatal, kSource, 17, L"Open", detail, &hr);
        });
        ASSERT_EQ(1u, records.size());
        EXPECT_EQ(message, records[0].message);
        EXPECT_EQ(kFatal, records[0].severity);
        EXPECT_EQ(17, records[0].line);
    }
}

TEST(ExitScopeGuardTest, DismissedGuardIsSilent) {
    EXPECT_TRUE(RecordsOf([] {
                    const HRESULT hr = E_FAIL;
                    CExitScopeGuard guard(kError, kSource, 1, L"Open", nullptr, &hr);
                    guard.Dismiss();
                }).empty());
}

}  // namespace
