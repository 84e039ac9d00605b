#include "diagnostics/CheckedCall.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"checked_call_test"};
constexpr HRESULT kUnknownCode = static_cast<HRESULT>(0xA0BCDEF1);  // a code of no facility that the system knows

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

TEST(HResultTextTest, IsTheSystemsTextWithoutItsLastTwoCharacters) {
    wchar_t text[1024];
    const DWORD length =
        ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                         static_cast<DWORD>(E_FAIL), 0x400, text, static_cast<DWORD>(std::size(text)), nullptr);
    ASSERT_LT(2u, length);
    EXPECT_EQ(std::wstring(text, length - 2), HResultText(E_FAIL));
}

TEST(CheckedCallTest, FailuresLogTheCallAndThenTheFunctionAndSuccessLogsNothing) {
    g_afterwards = 0;
    void* thing = nullptr;
    const auto records = RecordsOf([&] {
        EXPECT_EQ(E_FAIL, Guarded(E_FAIL));
        EXPECT_EQ(kUnknownCode, Guarded(kUnknownCode));
        EXPECT_EQ(S_OK, Guarded(S_OK));
        EXPECT_EQ(S_FALSE, Guarded(S_FALSE));
        EXPECT_EQ(E_FAIL, WithGivenText(E_FAIL));
        EXPECT_EQ(S_FALSE, WithGivenText(S_OK));
        LogFailedCall(kSource, 1, L"CThing::Given", E_FAIL, L"described", L"Do()");
        EXPECT_EQ(E_POINTER, WithPointers(&thing, nullptr));
        EXPECT_EQ(E_POINTER, WithPointers(nullptr, &thing));
        EXPECT_EQ(S_OK, WithPointers(&thing, &thing));
        for (const wchar_t* detail : {static_cast<const wchar_t*>(nullptr), L"", L"50%"}) {
            const HRESULT hr = E_FAIL;
            const CExitScopeGuard guard(kFatal, kSource, 17, L"Open", detail, &hr);
            CExitScopeGuard(kFatal, kSource, 18, L"Open", detail, &hr).Dismiss();
        }
    });
    EXPECT_EQ(2, g_afterwards) << "a failure leaves at once";
    const std::wstring fail = L"0x80004005 (\"" + HResultText(E_FAIL) + L"\")";
    const std::wstring pointersExit =
        L"CThing::Pointers failed on exit scope: HRESULT 0x80004003 (\"" + HResultText(E_POINTER) + L"\")";
    // The call's code is in upper case, the exit's in lower case.
    const std::vector<std::wstring> expected{
        L"ERROR: hr=" + fail + L", from call Answer(result,1)",
        L"CThing::Guarded failed on exit scope: HRESULT " + fail,
        L"ERROR: hr=0xA0BCDEF1 (\"A0BCDEF1 <no error message>\"), from call Answer(result,1)",
        L"CThing::Guarded failed on exit scope: HRESULT 0xa0bcdef1 (\"A0BCDEF1 <no error message>\")",
        L"ERROR: hr=" + fail + L", from call pThing->Do(&x,100%)",
        L"ERROR: hr=0x80004005 (\"described\"), from call Do()",
        L"ERROR: retval pointer ppStream is null",
        pointersExit,
        L"ERROR: pointer pStream is null",
        pointersExit,
        L"Open failed on exit scope: HRESULT " + fail,
        L"Open failed on exit scope: HRESULT " + fail,
        L"Open failed on exit scope (50%): HRESULT " + fail};
    ASSERT_EQ(expected.size(), records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        const wchar_t* const function = i < 4    ? L"CThing::Guarded"
                                        : i < 6  ? L"CThing::Given"
                                        : i < 10 ? L"CThing::Pointers"
                                                 : L"Open";
        EXPECT_EQ((LoggedRecord{i < 10 ? kError : kFatal, L"TestModule", ::GetCurrentProcessId(), records[i].threadId,
                                L"checked_call_test", records[i].line, function, expected[i]}),
                  records[i]);
    }
    EXPECT_GT(records[0].line, records[1].line) << "the guard stands above the call";
}

TEST(CheckedCallTest, ResultsAndLastErrorDoNotDependOnTheLogger) {
    const auto body = [] {
        ::SetLastError(ERROR_DISK_FULL);
        EXPECT_EQ(kUnknownCode, Guarded(kUnknownCode));  // asking for a text that isn't there is an error of its own
        EXPECT_EQ(S_FALSE, Guarded(S_FALSE));
        EXPECT_EQ(E_POINTER, WithPointers(nullptr, nullptr));
        EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError());
    };
    OnNewThread(body);
    RecordsOf(body);
}

}  // namespace
