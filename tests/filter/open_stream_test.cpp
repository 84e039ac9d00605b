// Giving the filter an open stream: the name that is reported, what the log says, and what the stream may do wrong.
#include "diagnostics/CDiagnosticRegistration.h"
#include "filter/CCustomFileSourceFilter.h"
#include "filter/CCustomFileSourcePin.h"
#include "framework/com/CTaskMem.h"
#include "tests/filter/CFilterHost.h"
#include "tests/filter/CInnerFilter.h"
#include "tests/filter/LoggedLines.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

#include <process.h>
#include <uuids.h>
#include <vfwmsgs.h>

#include <gtest/gtest.h>

#include <functional>

using Microsoft::WRL::ComPtr;

namespace {

constexpr wchar_t kOpenStream[] = L"CCustomFileSourceFilter::OpenStream";
constexpr wchar_t kNoName[] = L"IStream : <no filename>";

AM_MEDIA_TYPE WaveType() {
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Stream;
    type.subtype = MEDIASUBTYPE_WAVE;
    return type;
}

const std::wstring kTypeFromOutside =
    Line(1, L"CCustomFileSourceFilter::SetSourceFileStream",
         L"Using MediaType set from outside. Subtype is {E436EB8B-524F-11CE-9F53-0020AF0BA770}");
const std::wstring kStopped =
    Line(1, L"CCustomFileSourceFilter::CreateStreamThread", L"Create stream thread stop message received");

TEST(OpenStream, ReportsTheStreamsOwnNameAndLogsIt) {
    struct {
        const char* what;
        CScriptedStream::Step firstStat;  // the filter's question for the name
        const wchar_t* name;
    } const cases[] = {{"a name", {}, L"scripted"},
                       {"no name", {.nothing = true}, kNoName},
                       {"no answer", {.result = E_ACCESSDENIED}, kNoName},
                       {"not implemented", {.result = E_NOTIMPL}, kNoName}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        const CPublishedLogger logger;
        OnNewThread([&] {
            CScriptedStream source("0123456789");
            source.On(CScriptedStream::kStat, 0, row.firstStat);
            const AM_MEDIA_TYPE type = WaveType();
            CFilterHost host;
            ASSERT_EQ(S_OK, host.Create());
            EXPECT_EQ(S_OK, host.As<ITavelIStreamFileSource>()->OpenStream(&source, &type));
            EXPECT_EQ(row.name, host.CurrentName());
            EXPECT_EQ(0u, host.Release());
            EXPECT_EQ(0u, source.References());
        });
        const std::vector<std::wstring> expected = {Line(1, kOpenStream, std::wstring(L"Loading file : ") + row.name),
                                                    kTypeFromOutside, kStopped};
        EXPECT_EQ(expected, Lines(logger));
    }
}

// In one module with the stream: an exception of another module's on x86 meets no handler in this one, whatever it
// does.
TEST(OpenStream, SurvivesAnyFailureOfTheStreamAndTakesTheNextOne) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    struct {
        const char* what;
        CScriptedStream::Kind kind;
        int nth;
        CScriptedStream::Step step;
        HRESULT result;
        const wchar_t* name;
    } const cases[] = {
        {"the name throws", CScriptedStream::kStat, 0, {.throws = true}, S_OK, kNoName},
        {"the position can't be told", CScriptedStream::kSeek, 0, {.result = STG_E_SEEKERROR}, S_OK, L"scripted"},
        {"the position throws", CScriptedStream::kSeek, 0, {.throws = true}, S_OK, L"scripted"},
        {"the size can't be told",
         CScriptedStream::kStat,
         1,
         {.result = STG_E_ACCESSDENIED},
         STG_E_ACCESSDENIED,
         L"scripted"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        CScriptedStream source("0123456789");
        source.On(row.kind, row.nth, row.step);
        const AM_MEDIA_TYPE type = WaveType();
        {
            CInnerFilter filter;
            ASSERT_EQ(S_OK, filter->EnableDataFlow());
            EXPECT_EQ(row.result, filter->OpenStream(&source, &type));
            CTaskMem<wchar_t> name;
            EXPECT_EQ(S_OK, filter->GetCurFile(name.Put(), nullptr));
            EXPECT_STREQ(row.name, name.Get());
            EXPECT_EQ(S_OK, filter->OpenStream(&source, &type));
            BYTE bytes[5]{};
            EXPECT_EQ(S_OK, filter.Pin().SyncRead(3, 4, bytes));
            EXPECT_STREQ("3456", reinterpret_cast<char*>(bytes));
        }
        EXPECT_EQ(0u, source.References());
    }
}

TEST(OpenStream, LogsNothingAndKeepsTheNameWhenThereIsNoStream) {
    const CPublishedLogger logger;
    OnNewThread([] {
        CFilterHost host;
        ASSERT_EQ(S_OK, host.Create());
        EXPECT_EQ(E_POINTER, host.As<ITavelIStreamFileSource>()->OpenStream(nullptr, nullptr));
        EXPECT_EQ(L"", host.CurrentName());
    });
    EXPECT_EQ(std::vector{kStopped}, Lines(logger));
}

// A live source doesn't know its size; it is read where it stands, and no seek ever reaches it.
TEST(OpenStream, ReadsAStreamOfUnknownSizeWithoutSeeking) {
    const CPublishedLogger logger;
    OnNewThread([] {
        CScriptedStream live("0123456789");
        live.ReportSize(0xFFFFFFFFFFFFFFFFu);
        CScriptedStream finite("abc");
        const AM_MEDIA_TYPE type = WaveType();
        CFilterHost host;
        ASSERT_EQ(S_OK, host.Create());
        ASSERT_EQ(S_OK, host.As<IDataFlowControl>()->EnableDataFlow());
        EXPECT_EQ(VFW_S_ESTIMATED, host.As<ITavelIStreamFileSource>()->OpenStream(&live, &type));
        LONGLONG total = -1;
        LONGLONG available = -1;
        EXPECT_EQ(VFW_S_ESTIMATED, host.Reader()->Length(&total, &available));
        EXPECT_EQ(0x7FFFFFFFFFFFFFFF, total);
        EXPECT_EQ(32768, available);
        const int seeks = live.Calls(CScriptedStream::kSeek);
        BYTE bytes[5]{};
        EXPECT_EQ(S_OK, host.Reader()->SyncRead(6, 4, bytes));
        EXPECT_STREQ("0123", reinterpret_cast<char*>(bytes));
        EXPECT_EQ(S_OK, host.Reader()->SyncRead(0, 4, bytes));
        EXPECT_STREQ("4567", reinterpret_cast<char*>(bytes));
        EXPECT_EQ(seeks, live.Calls(CScriptedStream::kSeek));

        EXPECT_EQ(S_OK, host.As<ITavelIStreamFileSource>()->OpenStream(&finite, &type));
        EXPECT_EQ(S_OK, host.Reader()->SyncRead(1, 2, bytes));
        EXPECT_EQ('b', bytes[0]);
    });
    constexpr wchar_t kSetSource[] = L"CCustomFileSourcePin::SetSourceFileStream";
    const std::vector<std::wstring> expected = {
        Line(1, kOpenStream, L"Loading file : scripted"),
        kTypeFromOutside,
        Line(0, kSetSource, L"TvFileSourceAsync Output Pin: m_bInfiniteStream = true"),
        Line(0, L"CCustomFileSourcePin::NonDelegatingQueryInterface",
             L"TvFileSourceAsync Output Pin: m_bAsyncReaderChecked = true"),
        Line(1, kOpenStream, L"Loading file : scripted"),
        kTypeFromOutside,
        Line(0, kSetSource, L"TvFileSourceAsync Output Pin: m_bInfiniteStream = false"),
        kStopped,
    };
    EXPECT_EQ(expected, Lines(logger));
}

// ---- A filter that couldn't be made whole

std::uintptr_t __cdecl NoThread(void*, unsigned, unsigned(__stdcall*)(void*), void*, unsigned, unsigned*) {
    ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
}

TEST(IncompleteFilter, TakesOpenStreamsWithoutItsCreationThread) {
    const CPublishedLogger logger;
    OnNewThread([] {
        CScriptedStream source("0123456789");
        ComPtr<IBaseFilter> filter;
        HRESULT created = E_PENDING;
        {
            const CImportHook noThread("_beginthreadex", &NoThread);
            ASSERT_TRUE(noThread.IsSet());
            filter = static_cast<CCustomFileSourceFilter*>(CCustomFileSourceFilter::CreateInstance(nullptr, &created));
        }
        ASSERT_TRUE(filter);
        EXPECT_EQ(S_OK, created);
        ComPtr<IFileSourceFilter> byName;
        ComPtr<ITavelIStreamFileSource> byStream;
        ASSERT_EQ(S_OK, filter.As(&byName));
        ASSERT_EQ(S_OK, filter.As(&byStream));
        const AM_MEDIA_TYPE type = WaveType();
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(E_UNEXPECTED, byName->Load(L"C:\\x", &type));
        EXPECT_EQ(E_POINTER, byName->Load(nullptr, &type));
        EXPECT_EQ(S_OK, byStream->OpenStream(&source, &type));
    });
    constexpr wchar_t kLoad[] = L"CCustomFileSourceFilter::Load";
    const std::wstring loading = Line(1, kLoad, L"Loading: C:\\x");
    const std::wstring notRunning = Line(4, kLoad, L"The stream creation thread is not running!");
    const std::vector<std::wstring> expected = {loading,
                                                notRunning,
                                                loading,
                                                notRunning,
                                                Line(1, kLoad, L"Loading: <invalid filename>"),
                                                Line(1, kOpenStream, L"Loading file : scripted"),
                                                kTypeFromOutside};
    EXPECT_EQ(expected, Lines(logger));
}

HANDLE WINAPI NoEvent(SECURITY_ATTRIBUTES*, BOOL, BOOL, const wchar_t*) {
    ::SetLastError(ERROR_NO_SYSTEM_RESOURCES);
    return nullptr;
}

// The pin reports the events that it didn't get; the creation function overwrites that on purpose.
TEST(IncompleteFilter, IsHandedOutThoughItsConstructorReportedAFailure) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    HRESULT reported = S_OK;
    HRESULT created = E_PENDING;
    ComPtr<IBaseFilter> filter;
    {
        const CImportHook noEvent("CreateEventW", &NoEvent);
        ASSERT_TRUE(noEvent.IsSet());
        CCritSec lock;
        const CCustomFileSourcePin pin(&reported, &lock, nullptr);
        filter = static_cast<CCustomFileSourceFilter*>(CCustomFileSourceFilter::CreateInstance(nullptr, &created));
        EXPECT_TRUE(filter);
        EXPECT_EQ(S_OK, created);
        // Without events its thread ends by itself, and loads fail instead of hanging.
        ComPtr<IFileSourceFilter> byName;
        ASSERT_EQ(S_OK, filter.As(&byName));
        EXPECT_TRUE(FAILED(byName->Load(L"C:\\x", nullptr)));
    }
    EXPECT_EQ(E_OUTOFMEMORY, reported);
}

TEST(IncompleteFilter, IsListedWhileItLives) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    using TKRuntimeLogger::CDiagnosticRegistration;
    const std::size_t before = CDiagnosticRegistration::LiveCount();
    {
        const ComPtr<IBaseFilter> filter =
            static_cast<CCustomFileSourceFilter*>(CCustomFileSourceFilter::CreateInstance(nullptr, nullptr));
        const auto entries = CDiagnosticRegistration::Snapshot();
        ASSERT_EQ(before + 1, entries.size());
        EXPECT_EQ(L"TvFileSourceAsync", entries.front().category);
        EXPECT_EQ(L"TvFileSourceAsync filter", entries.front().description);
    }
    EXPECT_EQ(before, CDiagnosticRegistration::LiveCount());
}

}  // namespace
