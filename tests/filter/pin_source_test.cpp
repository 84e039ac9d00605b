// The pin's source: how long it says it is, how it is reached and lost, its IStream face, the types that it is offered
// as, and the memory for reading it.
#include "framework/com/GlobalInterfaceTable.h"
#include "tests/filter/CInnerFilter.h"
#include "tests/filter/LoggedLines.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/CTestSample.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <gtest/gtest.h>

#include <limits>
#include <thread>

using Microsoft::WRL::ComPtr;

namespace {

using Stream = CScriptedStream;

struct PinSourceTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    Stream source{"0123456789"};
    CInnerFilter filter;
    CCustomFileSourcePin& pin = filter.Pin();

    void SetUp() override { ASSERT_EQ(S_OK, filter->EnableDataFlow()); }
};

TEST_F(PinSourceTest, TellsTheLengthThatTheSourceClaims) {
    constexpr LONGLONG kMost = std::numeric_limits<LONGLONG>::max();
    struct {
        ULONGLONG claimed;
        HRESULT result;
        LONGLONG total;
        LONGLONG available;
        bool infinite;
    } const cases[] = {
        {0, S_OK, 0, 0, false},
        {10, S_OK, 10, 10, false},
        {kMost - 1, S_OK, kMost - 1, kMost - 1, false},
        {kMost, S_OK, kMost, kMost, true},  // the same number stands for an unknown length
        {0x8000000000000000u, VFW_S_ESTIMATED, kMost, 32768, true},
        {0xFFFFFFFFFFFFFFFFu, VFW_S_ESTIMATED, kMost, 32768, true},
        {10, S_OK, 10, 10, false},
    };
    ULONG registered = 0;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.claimed);
        source.ReportSize(row.claimed);
        EXPECT_EQ(row.result, pin.SetSourceFileStream(&source, 0));
        if (registered == 0)
            registered = source.References();
        EXPECT_EQ(registered, source.References());  // one registration's, however often it is made
        LONGLONG total = -1;
        LONGLONG available = -1;
        EXPECT_EQ(row.result, pin.Length(&total, &available));
        EXPECT_EQ(row.total, total);
        EXPECT_EQ(row.available, available);
        const int seeks = source.Calls(Stream::kSeek);
        BYTE byte = 0;
        (void)pin.SyncRead(0, 1, &byte);
        CTestSample sample(1);
        sample.SetRange(5, 6);
        (void)pin.SyncReadAligned(&sample);
        EXPECT_EQ(row.infinite ? 0 : 2, source.Calls(Stream::kSeek) - seeks);
    }
}

TEST_F(PinSourceTest, KeepsASourceWhoseLengthCannotBeAsked) {
    source.ReportSize(0x8000000000000000u);
    ASSERT_EQ(VFW_S_ESTIMATED, pin.SetSourceFileStream(&source, 0));
    source.ReportSize(10);
    source.On(Stream::kStat, 0, {.result = STG_E_ACCESSDENIED});
    EXPECT_EQ(STG_E_ACCESSDENIED, pin.SetSourceFileStream(&source, 0));
    BYTE byte = 0;
    EXPECT_EQ(S_OK, pin.SyncRead(7, 1, &byte));
    EXPECT_EQ('7', byte);  // no longer taken for infinite: it was sought

    LONGLONG total = 7;
    LONGLONG available = 8;
    source.On(Stream::kStat, 0, {.result = STG_E_ACCESSDENIED});
    EXPECT_EQ(STG_E_ACCESSDENIED, pin.Length(&total, &available));
    EXPECT_EQ(7, total);
    EXPECT_EQ(8, available);
    EXPECT_EQ(S_OK, pin.Length(&total, &available));
    EXPECT_EQ(10, total);

    EXPECT_EQ(E_POINTER, pin.SetSourceFileStream(nullptr, 0));
    EXPECT_EQ(S_OK, pin.SyncRead(8, 1, &byte));
    Stream next("abc");
    EXPECT_EQ(S_OK, pin.SetSourceFileStream(&next, 0));
    EXPECT_EQ(0u, source.References());
    EXPECT_EQ(S_OK, pin.Length(&total, &available));
    EXPECT_EQ(3, total);
    EXPECT_EQ(S_OK, pin.SetSourceFileStream(&source, 0));
    EXPECT_EQ(0u, next.References());
}

// ---- The stream face

TEST_F(PinSourceTest, IsAReadOnlyStreamOfTheSource) {
    ASSERT_EQ(S_OK, pin.SetSourceFileStream(&source, 0));
    IStream& stream = pin;
    LARGE_INTEGER three;
    three.QuadPart = 3;
    ULARGE_INTEGER position{};
    EXPECT_EQ(S_OK, stream.Seek(three, STREAM_SEEK_SET, &position));
    EXPECT_EQ(3u, position.QuadPart);
    char bytes[21]{};
    ULONG count = 99;
    EXPECT_EQ(S_FALSE, stream.Read(bytes, 20, &count));
    EXPECT_EQ(7u, count);
    EXPECT_STREQ("3456789", bytes);
    STATSTG stat{};
    EXPECT_EQ(S_OK, stream.Stat(&stat, STATFLAG_DEFAULT));
    EXPECT_STREQ(L"scripted", stat.pwcsName);
    ::CoTaskMemFree(stat.pwcsName);

    // What the source answers is the answer.
    source.On(Stream::kRead, 0, {.result = STG_E_READFAULT});
    source.On(Stream::kSeek, 0, {.result = STG_E_SEEKERROR});
    source.On(Stream::kStat, 0, {.result = STG_E_ACCESSDENIED});
    EXPECT_EQ(STG_E_READFAULT, stream.Read(bytes, 1, nullptr));
    EXPECT_EQ(STG_E_SEEKERROR, stream.Seek(three, STREAM_SEEK_CUR, &position));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream.Stat(&stat, STATFLAG_NONAME));
    EXPECT_EQ(S_OK, stream.Seek({}, STREAM_SEEK_SET, &position));
    EXPECT_EQ(S_OK, stream.Read(bytes, 1, nullptr));
    EXPECT_EQ('0', bytes[0]);

    const int calls = source.Calls();
    EXPECT_EQ(E_POINTER, stream.Seek(three, STREAM_SEEK_SET, nullptr));
    EXPECT_EQ(E_POINTER, stream.Read(nullptr, 1, &count));
    ComPtr<IStream> clone;
    const HRESULT refused[] = {stream.Write("x", 1, &count),
                               stream.SetSize({}),
                               stream.CopyTo(&source, {}, nullptr, nullptr),
                               stream.Commit(0),
                               stream.Revert(),
                               stream.LockRegion({}, {}, 0),
                               stream.UnlockRegion({}, {}, 0),
                               stream.Clone(&clone)};
    for (const HRESULT result : refused)
        EXPECT_EQ(E_NOTIMPL, result);
    EXPECT_FALSE(clone);
    EXPECT_EQ(calls, source.Calls());
}

// ---- A source that can't be fetched any more

const std::wstring kLost = L"Could not get the stream from the GIT. Apartment was shut down prematurely!";

// What every operation gives; the reads say so in the log.
std::vector<HRESULT> UseSource(CCustomFileSourcePin& pin, CTestSample& sample) {
    LONGLONG total = 0;
    ULARGE_INTEGER position{};
    STATSTG stat{};
    BYTE byte = 0;
    return {pin.SyncRead(0, 1, &byte),   pin.SyncReadAligned(&sample), pin.Length(&total, &total),
            pin.Read(&byte, 1, nullptr), pin.Seek({}, 0, &position),   pin.Stat(&stat, STATFLAG_NONAME)};
}

const std::vector<std::wstring> kLostLines = {Line(3, L"CCustomFileSourcePin::SyncRead", kLost),
                                              Line(3, L"CCustomFileSourcePin::SyncReadAligned", kLost)};

// A table that gives out nothing and calls that a success.
class CEmptyTable final : public IGlobalInterfaceTable {
public:
    virtual ~CEmptyTable() = default;
    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP RegisterInterfaceInGlobal(IUnknown*, REFIID, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP RevokeInterfaceFromGlobal(DWORD) override { return E_ACCESSDENIED; }
    STDMETHODIMP GetInterfaceFromGlobal(DWORD, REFIID, void** object) override {
        *object = nullptr;
        return S_OK;
    }
};

HRESULT NoTable(IGlobalInterfaceTable** table) {
    *table = nullptr;
    return CO_E_CLASS_DISABLED;
}

HRESULT EmptyTable(IGlobalInterfaceTable** table) {
    static CEmptyTable empty;
    *table = &empty;
    return S_OK;
}

TEST(PinLostSource, GivesTheTablesFailureAndComesBackWithTheTable) {
    struct {
        TKFGlobalInterfaceTableProvider provider;
        HRESULT use;
        HRESULT replace;  // the old registration can't be ended, so it stays
    } const cases[] = {{&NoTable, CO_E_CLASS_DISABLED, CO_E_CLASS_DISABLED}, {&EmptyTable, E_POINTER, E_ACCESSDENIED}};
    for (const auto& row : cases) {
        const CPublishedLogger logger;
        OnNewThread([&] {
            Stream source("0123456789");
            Stream other("abc");
            CInnerFilter filter;
            CCustomFileSourcePin& pin = filter.Pin();
            ASSERT_EQ(S_OK, filter->EnableDataFlow());
            ASSERT_EQ(S_OK, pin.SetSourceFileStream(&source, 0));
            CTestSample sample(4);
            sample.SetRange(0, 4);
            TKFSetGlobalInterfaceTableProvider(row.provider);
            const std::vector<HRESULT> results = UseSource(pin, sample);
            const HRESULT replaced = pin.SetSourceFileStream(&other, 0);
            const HRESULT requested = pin.Request(&sample, 0);
            TKFSetGlobalInterfaceTableProvider(nullptr);

            EXPECT_EQ(std::vector(results.size(), row.use), results);
            EXPECT_EQ(row.replace, replaced);
            EXPECT_EQ(static_cast<HRESULT>(0x80070026), requested);  // nothing was read
            EXPECT_EQ(S_OK, pin.SyncReadAligned(&sample));
            EXPECT_EQ("0123", sample.Data());
        });
        std::vector<std::wstring> expected = kLostLines;
        expected.push_back(kLostLines[1]);  // the request's read
        expected.push_back(
            Line(1, L"CCustomFileSourceFilter::CreateStreamThread", L"Create stream thread stop message received"));
        EXPECT_EQ(expected, Lines(logger));
    }
}

TEST(PinLostSource, FailsWhenTheSourcesApartmentIsGone) {
    const CPublishedLogger logger;
    OnNewThread([] {
        Stream source("0123456789");
        CInnerFilter filter;
        ASSERT_EQ(S_OK, filter->EnableDataFlow());
        std::thread([&] {
            const CTestApartment shortLived(COINIT_APARTMENTTHREADED);
            EXPECT_EQ(S_OK, filter.Pin().SetSourceFileStream(&source, 0));
        }).join();
        CTestSample sample(4);
        sample.SetRange(0, 4);
        const std::vector<HRESULT> results = UseSource(filter.Pin(), sample);
        EXPECT_TRUE(FAILED(results[0]));
        EXPECT_EQ(std::vector(results.size(), results[0]), results);
        EXPECT_EQ(std::vector<GraphEvent>{}, filter.graph.TakeEvents());
    });
    auto lines = Lines(logger);
    lines.resize(2);
    EXPECT_EQ(kLostLines, lines);
}

// ---- Media types

TEST_F(PinSourceTest, OffersAndAcceptsTheListedPairs) {
    CMediaType type;
    EXPECT_EQ(VFW_S_NO_MORE_ITEMS, pin.GetMediaType(0, &type));
    EXPECT_EQ(S_FALSE, pin.CheckMediaType(&type));
    pin.OfferedTypes().Append({MEDIATYPE_Stream, MEDIASUBTYPE_Avi});
    pin.OfferedTypes().Append({MEDIATYPE_Stream, MEDIASUBTYPE_WAVE});
    pin.OfferedTypes().Append({GUID_NULL, GUID_NULL});

    struct {
        int index;
        HRESULT result;
        GUID major;
        GUID sub;
    } const positions[] = {{0, S_OK, MEDIATYPE_Stream, MEDIASUBTYPE_Avi},
                           {1, S_OK, MEDIATYPE_Stream, MEDIASUBTYPE_WAVE},
                           {2, S_OK, GUID_NULL, GUID_NULL},
                           {3, VFW_S_NO_MORE_ITEMS, MEDIATYPE_Text, MEDIASUBTYPE_RGB24},
                           {-1, VFW_S_NO_MORE_ITEMS, MEDIATYPE_Text, MEDIASUBTYPE_RGB24},
                           {std::numeric_limits<int>::max(), VFW_S_NO_MORE_ITEMS, MEDIATYPE_Text, MEDIASUBTYPE_RGB24},
                           {std::numeric_limits<int>::min(), VFW_S_NO_MORE_ITEMS, MEDIATYPE_Text, MEDIASUBTYPE_RGB24}};
    for (const auto& row : positions) {
        SCOPED_TRACE(row.index);
        CMediaType offered(&MEDIATYPE_Text);
        offered.SetSubtype(&MEDIASUBTYPE_RGB24);
        offered.SetFormatType(&FORMAT_VideoInfo);
        offered.lSampleSize = 42;
        EXPECT_EQ(row.result, pin.GetMediaType(row.index, &offered));
        EXPECT_EQ(row.major, offered.majortype);
        EXPECT_EQ(row.sub, offered.subtype);
        EXPECT_EQ(row.result == S_OK ? GUID_NULL : FORMAT_VideoInfo, offered.formattype);
        EXPECT_EQ(42u, offered.lSampleSize);  // nothing else is set
    }
    EXPECT_EQ(E_POINTER, pin.GetMediaType(0, nullptr));

    struct {
        GUID major;
        GUID sub;
        HRESULT result;
    } const types[] = {{MEDIATYPE_Stream, MEDIASUBTYPE_WAVE, S_OK},   {GUID_NULL, GUID_NULL, S_OK},
                       {MEDIATYPE_Stream, GUID_NULL, S_FALSE},        {GUID_NULL, MEDIASUBTYPE_WAVE, S_FALSE},
                       {MEDIATYPE_Audio, MEDIASUBTYPE_WAVE, S_FALSE}, {MEDIATYPE_Stream, MEDIASUBTYPE_AIFF, S_FALSE}};
    for (const auto& row : types) {
        CMediaType asked(&row.major);
        asked.SetSubtype(&row.sub);
        asked.SetFormatType(&FORMAT_WaveFormatEx);
        EXPECT_EQ(row.result, pin.CheckMediaType(&asked));
        EXPECT_EQ(row.result, pin.QueryAccept(&asked));
    }
    EXPECT_EQ(E_POINTER, pin.CheckMediaType(nullptr));
}

// ---- Memory

TEST_F(PinSourceTest, ForcesTheAlignmentAndLeavesTheRestToTheParser) {
    ComPtr<IMemAllocator> preferred;
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_ALL, IID_PPV_ARGS(&preferred)));
    for (IMemAllocator* given : {preferred.Get(), static_cast<IMemAllocator*>(nullptr)}) {
        ALLOCATOR_PROPERTIES properties{3, 4096, 512, 0};
        ComPtr<IMemAllocator> allocator;
        ASSERT_EQ(S_OK, pin.RequestAllocator(given, &properties, &allocator));
        ASSERT_TRUE(allocator);
        EXPECT_EQ(given != nullptr, allocator.Get() == preferred.Get());
        EXPECT_EQ(1, properties.cbAlign);
        ALLOCATOR_PROPERTIES actual{};
        EXPECT_EQ(S_OK, allocator->GetProperties(&actual));
        EXPECT_EQ(3, actual.cBuffers);
        EXPECT_LE(4096, actual.cbBuffer);
        EXPECT_EQ(1, actual.cbAlign);
    }

    // A refused allocator of the parser's own goes back to it all the same; one of the pin's goes nowhere.
    ALLOCATOR_PROPERTIES properties{3, 4096, 1, 0};
    ASSERT_EQ(S_OK, preferred->Commit());
    ComPtr<IMemAllocator> allocator;
    EXPECT_EQ(VFW_E_ALREADY_COMMITTED, pin.RequestAllocator(preferred.Get(), &properties, &allocator));
    EXPECT_EQ(preferred.Get(), allocator.Get());
    EXPECT_EQ(S_OK, preferred->Decommit());

    properties.cbAlign = 77;
    EXPECT_EQ(S_OK, pin.RequestAllocator(preferred.Get(), &properties, nullptr));
    EXPECT_EQ(77, properties.cbAlign);
    EXPECT_EQ(S_OK, pin.RequestAllocator(nullptr, nullptr, nullptr));
    auto* none = reinterpret_cast<IMemAllocator*>(1);
    EXPECT_EQ(E_POINTER, pin.RequestAllocator(nullptr, nullptr, &none));
    EXPECT_EQ(nullptr, none);
}

}  // namespace
