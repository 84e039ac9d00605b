// Giving the filter an open stream: the name that is reported, what the log says, and what may go wrong. In one module
// with the stream, as an exception of another module's on x86 meets no handler in this one.
#include "diagnostics/CDescriptions.h"
#include "diagnostics/CDiagnosticRegistration.h"
#include "framework/com/CTaskMem.h"
#include "framework/com/GlobalInterfaceTable.h"
#include "tests/filter/CInnerFilter.h"
#include "tests/filter/FilterTest.h"
#include "tests/support/CImportHook.h"

#include <evcode.h>

namespace {

constexpr wchar_t kNoName[] = L"IStream : <no filename>";
std::wstring Loading(const std::wstring& name) {
    return Line(1, L"CCustomFileSourceFilter::OpenStream", L"Loading file : " + name);
}

TEST(OpenStreamTest, AnyFailureOfTheStreamIsSurvivedAndItsNameIsReportedAndLogged) {
    const struct {
        const char* what;
        Stream::Kind kind;
        int nth;
        Stream::Step step;
        const wchar_t* name;
        HRESULT result = S_OK;
    } cases[] = {
        {"all is well", Stream::kStat, 0, {}, L"scripted"},
        {"no name", Stream::kStat, 0, {.nothing = true}, kNoName},
        {"the name is refused", Stream::kStat, 0, {.result = E_NOTIMPL}, kNoName},
        {"the name throws", Stream::kStat, 0, {.throws = true}, kNoName},
        {"the position can't be told", Stream::kSeek, 0, {.result = STG_E_SEEKERROR}, L"scripted"},
        {"the position throws", Stream::kSeek, 0, {.throws = true}, L"scripted"},
        {"the size is refused", Stream::kStat, 1, {.result = STG_E_ACCESSDENIED}, L"scripted", STG_E_ACCESSDENIED},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        Stream source("0123456789");
        Log lines = LinesOf([&] {
            CInnerFilter filter;
            EXPECT_EQ(E_POINTER, filter->OpenStream(nullptr, &kWave));
            source.On(row.kind, row.nth, row.step);
            EXPECT_EQ(row.result, filter->OpenStream(&source, &kWave));
            CTaskMem<wchar_t> name;
            EXPECT_EQ(S_OK, filter->GetCurFile(name.Put(), nullptr));
            EXPECT_STREQ(row.name, name.Get());
            EXPECT_EQ(S_OK, filter->OpenStream(&source, &kWave)) << "the next time";
            source.On(Stream::kRead, 0, {.throws = true});
            EXPECT_EQ(S_FALSE, SyncRead(filter.Pin(), 3, 4).first) << "fails no parser";
            EXPECT_EQ((std::vector<GraphEvent>{{EC_ERRORABORT, S_OK, 0}}), filter.graph.TakeEvents());
            EXPECT_EQ(S_FALSE, filter.Pin().SyncRead(3, 4, nullptr)) << "as is a buffer that isn't there";
            EXPECT_EQ(Got(S_OK, "3456"), SyncRead(filter.Pin(), 3, 4));
        });
        lines.resize(4);  // the failed reads are others' matter
        EXPECT_EQ((Log{Loading(row.name), kWaveLine, Loading(L"scripted"), kWaveLine}), lines);
        EXPECT_EQ(0u, source.References());
    }
}

// A live source doesn't know its size; it is read where it stands, and no seek ever reaches it.
TEST(OpenStreamTest, AStreamOfUnknownSizeIsReadWithoutSeeking) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    Stream live("0123456789"), finite("abcde");
    live.ReportSize(0xFFFFFFFFFFFFFFFFu);
    CFilterHost host;
    host.Create();
    EXPECT_EQ(VFW_S_ESTIMATED, host.Open(&live, &kWave));
    const auto reader = host.Reader();
    const int seeks = live.Calls(Stream::kSeek);
    EXPECT_EQ(Got(S_OK, "0123"), SyncRead(*reader.Get(), 6, 4));
    EXPECT_EQ(Got(S_OK, "4567"), SyncRead(*reader.Get(), 0, 4));
    EXPECT_EQ(seeks, live.Calls(Stream::kSeek));
    EXPECT_EQ(S_OK, host.Open(&finite, &kWave));
    EXPECT_EQ(Got(S_OK, "bcde"), SyncRead(*reader.Get(), 1, 4));
}

HRESULT NoTable(IGlobalInterfaceTable** table) {
    *table = nullptr;
    return E_OUTOFMEMORY;
}

TEST(OpenStreamTest, AStreamThatCannotBeBufferedIsLoggedAndTheSourceStays) {
    const Log lines = LinesOf([] {
        Stream first("0123456789"), second("abcde");
        CInnerFilter filter;
        EXPECT_EQ(S_OK, filter->OpenStream(&first, &kWave));
        TKFSetGlobalInterfaceTableProvider(&NoTable);
        const HRESULT refused = filter->OpenStream(&second, nullptr);
        TKFSetGlobalInterfaceTableProvider(nullptr);
        EXPECT_EQ(E_OUTOFMEMORY, refused);
        EXPECT_EQ(Got(S_OK, "3456"), SyncRead(filter.Pin(), 3, 4));
        CMediaType offered;
        EXPECT_EQ(S_OK, filter.Pin().GetMediaType(0, &offered));
        EXPECT_EQ(MEDIASUBTYPE_WAVE, offered.subtype);
    });
    const std::wstring failed = L"ERROR: hr=0x8007000E (\"" +
                                TKRuntimeLogger::HresultDescriptions().Describe(E_OUTOFMEMORY) +
                                L"\"), from call TKFCreateBufferedStream(pStream, &pBufferedStream)";
    EXPECT_EQ((Log{Loading(L"scripted"), kWaveLine, Loading(L"scripted"),
                   Line(3, L"CCustomFileSourceFilter::SetSourceFileStream", failed), kStopped}),
              lines);
}

HANDLE WINAPI NoEvent(SECURITY_ATTRIBUTES*, BOOL, BOOL, const wchar_t*) {
    return nullptr;
}

// The pin reports the events that it didn't get; the creation function overwrites that on purpose. Without events the
// thread ends by itself, and loads fail instead of hanging.
TEST(IncompleteFilterTest, AFilterIsHandedOutThoughItsConstructorReportedAFailure) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const CImportHook noEvent("CreateEventW", &NoEvent);
    ASSERT_TRUE(noEvent.IsSet());
    Stream source("0123456789");
    HRESULT reported = S_OK, created = E_PENDING;
    CCritSec lock;
    const CCustomFileSourcePin pin(&reported, &lock, nullptr);
    EXPECT_EQ(E_OUTOFMEMORY, reported);
    const ComPtr<CCustomFileSourceFilter> filter =
        static_cast<CCustomFileSourceFilter*>(CCustomFileSourceFilter::CreateInstance(nullptr, &created));
    EXPECT_EQ(S_OK, created);
    EXPECT_HRESULT_FAILED(filter->Load(L"C:\\x", nullptr));
    EXPECT_EQ(S_OK, filter->OpenStream(&source, &kWave));
    EXPECT_EQ(L"TvFileSourceAsync filter", TKRuntimeLogger::CDiagnosticRegistration::Snapshot().at(0).description);
}

}  // namespace
