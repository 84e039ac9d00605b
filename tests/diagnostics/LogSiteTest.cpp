// What stands in code that logs: log sites, checked calls, descriptions of codes, watched values.
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "tests/support/CRecordingLogger.h"

#include <climits>

using namespace TKRuntimeLogger;

namespace {

using Texts = std::vector<std::wstring>;

constexpr LogSource kSource{L"TestModule", L"LogSiteTest"};
constexpr HRESULT kUnknownCode = static_cast<HRESULT>(0xA0BCDEF1);  // a code of no facility that the system knows
constexpr HRESULT kReachedItsEnd = 7;

HRESULT Answer(HRESULT hr, int = 0) {
    return hr;
}

// Makes four checks, numbered from 0. The check of this number meets `result`; the first two can only meet null
// pointers.
HRESULT Checked(int check, HRESULT result) {
    const bool ppStream = check != 0, pStream = check != 1;
    const HRESULT first = check == 2 ? result : S_OK, second = check == 3 ? result : S_OK;
    HRESULT hr = S_OK;
    TK_EXIT_SCOPE_GUARD(kSource, L"Checked", hr);
    TK_CHECK_RETVAL(kSource, L"Checked", hr, ppStream);
    TK_CHECK_POINTER(kSource, L"Checked", hr, pStream);
    // clang-format off
    TK_CHECK_CALL(kSource, L"Checked", hr, Answer(first,1));
    // clang-format on
    TK_CHECK_CALL_AS(kSource, L"Checked", hr, Answer(second), L"pThing->Do(&x,100%)");
    return kReachedItsEnd;
}

// The code and its text, as records have them.
std::wstring Described(const wchar_t* code, HRESULT hr) {
    return code + (L" (\"" + HResultText(hr) + L"\")");
}

TEST(HResultTextTest, IsTheSystemsWithoutItsLastTwoCharacters) {
    wchar_t text[300]{};
    const auto code = static_cast<DWORD>(HRESULT_FROM_WIN32(ERROR_BAD_EXE_FORMAT));  // has a placeholder
    constexpr DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    const DWORD length = ::FormatMessageW(kFlags, nullptr, code, 0x400, text, 300, nullptr);
    ASSERT_GT(length, 2u);
    EXPECT_EQ(std::wstring(text, length - 2), HResultText(static_cast<HRESULT>(code)));
}

TEST(SeverityNameTest, OnlyTheFiveSeveritiesHaveNames) {
    const std::pair<LONG, const wchar_t*> names[] = {{LONG_MIN, L""}, {-1, L""},      {kDebug, L"DEBUG"}, {1, L"INFO"},
                                                     {2, L"WARN"},    {3, L"ERROR"},  {4, L"FATAL"},      {5, L""},
                                                     {7, L""},        {LONG_MAX, L""}};
    for (const auto& [severity, name] : names)
        EXPECT_STREQ(name, SeverityName(severity)) << severity;
}

TEST(LogSiteTest, AThreadThatFoundNoLoggerNeverLooksAgain) {
    OnNewThread([] {
        EXPECT_EQ(nullptr, GetLoggerAPI());
        CPublishedLogger publishedTooLate;
        int evaluated = 0;
        TK_LOG(kSource, kFatal, L"Site", L"%d", ++evaluated);
        EXPECT_EQ(0, evaluated);
        EXPECT_TRUE(publishedTooLate->Records().empty());
    });
}

TEST(LogSiteTest, ThreadKeepsTheLoggerThatItFoundFirst) {
    const auto first = CRecordingLogger::Create();
    OnNewThread([&] {
        {
            CPublishedLogger published(first);
            OnNewThread([frontEnd = GetLoggerAPI()] { EXPECT_NE(frontEnd, GetLoggerAPI()); });
        }
        CPublishedLogger second;
        TK_LOG(kSource, kInfo, L"Site", L"again");
    });
    EXPECT_EQ(Texts{L"again"}, first->Messages());
}

TEST(LogSiteTest, LoggerThatLogsWhileItIsLookedUpFindsNoLogger) {
    for (const bool offersLog : {true, false}) {
        const auto logger = CRecordingLogger::Create();
        logger->offersLog = offersLog;
        logger->offersQuestion = logger->offersDump = true;
        logger->onQueryInterface = [] { TK_LOG(kSource, kInfo, L"Logger", L"from inside the search"); };
        CPublishedLogger published(logger);
        OnNewThread([&] {
            TK_LOG(kSource, kInfo, L"Site", L"from outside");
            EXPECT_EQ(offersLog, GetLoggerAPI() != nullptr);
        });
        EXPECT_EQ(Texts(offersLog, L"from outside"), logger->Messages());
    }
}

const wchar_t* NoText() {
    ::SetLastError(ERROR_GEN_FAILURE);
    throw std::bad_alloc();
}

TEST(LogSiteTest, AMisbehavingLoggerFailsNobody) {
    for (const bool throws : {false, true}) {
        const auto logger = CRecordingLogger::Create();
        logger->onCall = [&] { return ::SetLastError(ERROR_GEN_FAILURE), throws ? throw 42 : E_FAIL; };
        CPublishedLogger published(logger);
        OnNewThread([] {
            for (const wchar_t* message : {L"first", L"later"}) {
                ::SetLastError(ERROR_DISK_FULL);
                EXPECT_NO_THROW(TK_LOG(kSource, kInfo, L"Site", L"%s", message));
                EXPECT_NO_THROW(TK_LOG(kSource, kInfo, L"Site", L"%s", NoText())) << "nor does what is to be logged";
                EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError()) << message;
            }
        });
        EXPECT_EQ((Texts{L"first", L"later"}), logger->Messages());
    }
}

TEST(CheckedCallTest, TheFirstFailureEndsTheFunction) {
    const std::wstring fail = Described(L"0x80004005", E_FAIL), pointer = Described(L"0x80004003", E_POINTER);
    const struct {
        int check;
        HRESULT result;
        std::wstring message, exit;  // the call's code is in upper case, the exit's in lower case
    } cases[] = {
        {0, E_POINTER, L"retval pointer ppStream is null", pointer},
        {1, E_POINTER, L"pointer pStream is null", pointer},
        {2, kUnknownCode, L"hr=0xA0BCDEF1 (\"A0BCDEF1 <no error message>\"), from call Answer(first,1)",
         L"0xa0bcdef1 (\"A0BCDEF1 <no error message>\")"},
        {3, E_FAIL, L"hr=" + fail + L", from call pThing->Do(&x,100%)", fail},
    };
    Texts expected;
    CPublishedLogger published;
    OnNewThread([&] {
        ::SetLastError(ERROR_DISK_FULL);
        EXPECT_EQ(kReachedItsEnd, Checked(2, S_FALSE));
        for (const auto& c : cases) {
            EXPECT_EQ(c.result, Checked(c.check, c.result));
            expected.push_back(L"ERROR: " + c.message);
            expected.push_back(L"Checked failed on exit scope: HRESULT " + c.exit);
        }
        EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError()) << "asking for a text may fail by itself";

        const HRESULT hr = E_FAIL;
        { const CExitScopeGuard guard(kFatal, kSource, 17, L"Open", L"50%", &hr); }
        CExitScopeGuard(kFatal, kSource, 18, L"Open", L"", &hr).Dismiss();
        expected.push_back(L"Open failed on exit scope (50%): HRESULT " + fail);
    });
    EXPECT_EQ(expected, published->Messages());
}

// Has a name for one code; raw-only or of no kind, it never complains.
struct CQuietDescriptions final : CLongDescriptions {
    CQuietDescriptions(const wchar_t* kind, bool rawOnly) : CLongDescriptions(kind, {{1, L"one"}}, rawOnly) {}
};

TEST(DescriptionsTest, CodesAreDescribedByTheirNames) {
    CPublishedLogger published;
    OnNewThread([&] {
        EXPECT_EQ(L"0x00000001 / 1 (EC_COMPLETE)", DShowEventDescriptions()(1));
        EXPECT_EQ(L"0x0000810A / 33034 (EC_FILE_SCRAMBLED)", DShowEventDescriptions()(0x810A));
        EXPECT_EQ(L"0x00008100 / 33024", DShowEventDescriptions()(0x8100));
        EXPECT_EQ(L"0x8000FFFF / -2147418113 (E_UNEXPECTED (Unexpected error))",
                  HresultDescriptions().Describe(E_UNEXPECTED));
        EXPECT_EQ(L"0x00000000 / 0", HresultDescriptions().Describe(0));
        EXPECT_EQ(L"{73646976-0000-0010-8000-00AA00389B71}",
                  GuidDescriptions()(GUID{0x73646976, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}}));
        EXPECT_EQ(L"0x00000001 / 1", CQuietDescriptions(L"kind", true)(1));
        EXPECT_EQ(L"0x00000002 / 2", CQuietDescriptions(L"kind", true)(2));
        EXPECT_EQ(L"0x00000002 / 2", CQuietDescriptions(L"", false)(2));
    });
    const auto complaint = [&](const wchar_t* function, const wchar_t* message) {
        const LoggedRecord any = published->Records().at(0);
        return LoggedRecord{
            1, L"LOGGER_DESCRIPTIONS", any.processId, any.threadId, L"TKRuntimeLoggerAPI", any.line, function, message};
    };
    constexpr auto kLong = L"CDescriptions<long,struct std::less<long> >::operator ()";
    EXPECT_EQ(
        (std::vector<LoggedRecord>{complaint(kLong, L"Missing Description for DirectShowEventCode: 0x00008100 / 33024"),
                                   complaint(kLong, L"Missing Description for HRESULT: 0x00000000 / 0"),
                                   complaint(L"CDescriptions<struct _GUID,struct GUIDLess>::operator ()",
                                             L"Missing Description for GUID: {73646976-0000-0010-8000-00AA00389B71}")}),
        published->Records());
}

TEST(WatchedValueTest, EachChangeIsReportedOnce) {
    CWatchedValue<bool> flag{kSource, L"Output Pin", L"m_bInfiniteStream", true};
    OnNewThread([&] { flag.Set(false, L"Pin::Set", 1); });
    CPublishedLogger published;
    CWatchedValue<LONG> number{kSource, L"Output Pin", L"", 5};
    DWORD threadId = 0;
    OnNewThread([&] {
        threadId = ::GetCurrentThreadId();
        for (const bool value : {false, true, true})
            flag.Set(value, L"Pin::Set", 2);
        number.Set(-6, L"Pin::Set", 4);
    });
    EXPECT_EQ((Texts{L"Output Pin: m_bInfiniteStream = true", L"Output Pin = -6"}), published->Messages());
    const DWORD process = ::GetCurrentProcessId();
    EXPECT_EQ((LoggedRecord{0, L"TestModule", process, threadId, L"LogSiteTest", 4, L"Pin::Set", L"Output Pin = -6"}),
              published->Records().back());
    EXPECT_TRUE(flag && number == -6);
}

}  // namespace
