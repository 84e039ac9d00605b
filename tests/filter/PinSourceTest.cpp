// The pin's source: how long it says it is, how it is reached and lost, its IStream face, the types that it is offered
// as, and the memory for reading it.
#include "tests/support/CInnerFilter.h"
#include "tests/support/FilterTest.h"

#include <climits>
#include <thread>

namespace {

// What every operation gives that needs the source.
std::vector<HRESULT> UseSource(CCustomFileSourcePin& pin) {
    CTestSample sample(4);
    LONGLONG total = 0;
    ULARGE_INTEGER position{};
    STATSTG stat{};
    BYTE byte = 0;
    return {pin.SyncRead(0, 1, &byte),   pin.SyncReadAligned(&sample), pin.Length(&total, &total),
            pin.Read(&byte, 1, nullptr), pin.Seek({}, 0, &position),   pin.Stat(&stat, STATFLAG_NONAME)};
}

struct PinSourceTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    Stream source{"0123456789"};
    CInnerFilter filter;
    CCustomFileSourcePin& pin = filter.Pin();
    LONGLONG total = 0, available = 0;
    ULARGE_INTEGER position{};
};

TEST_F(PinSourceTest, ThePinTellsTheLengthThatTheSourceClaims) {
    const struct {
        ULONGLONG claimed;
        HRESULT result;
        LONGLONG total, available;
        bool infinite;
    } cases[] = {
        {0, S_OK, 0, 0, false},
        {LLONG_MAX, S_OK, LLONG_MAX, LLONG_MAX, true},  // the same number stands for an unknown length
        {0xFFFFFFFFFFFFFFFFu, VFW_S_ESTIMATED, LLONG_MAX, 32768, true},
        {10, S_OK, 10, 10, false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.claimed);
        source.ReportSize(row.claimed);
        EXPECT_EQ(row.result, pin.SetSourceFileStream(&source, 0));
        EXPECT_EQ(row.result, pin.Length(&total, &available));
        EXPECT_EQ(row.total, total);
        EXPECT_EQ(row.available, available);
        const int seeks = source.Calls(Stream::SeekCall);
        static_cast<void>(SyncRead(pin, 0, 1));
        CTestSample sample(1);
        sample.SetRange(5, 6);
        static_cast<void>(pin.SyncReadAligned(&sample));
        EXPECT_EQ(row.infinite ? 0 : 2, source.Calls(Stream::SeekCall) - seeks);
    }
}

TEST_F(PinSourceTest, ASourceWhoseLengthCannotBeAskedStaysUntilTheNext) {
    source.ReportSize(0x8000000000000000u);
    ASSERT_EQ(VFW_S_ESTIMATED, pin.SetSourceFileStream(&source, 0));
    source.ReportSize(10);
    source.On(Stream::StatCall, 0, {.result = STG_E_ACCESSDENIED});
    EXPECT_EQ(STG_E_ACCESSDENIED, pin.SetSourceFileStream(&source, 0));
    EXPECT_EQ(Got(S_OK, "6789"), SyncRead(pin, 6, 4)) << "no longer taken for infinite: it was sought";
    source.On(Stream::StatCall, 0, {.result = STG_E_ACCESSDENIED});
    EXPECT_EQ(STG_E_ACCESSDENIED, pin.Length(&total, &available));
    EXPECT_EQ(E_POINTER, pin.SetSourceFileStream(nullptr, 0));
    Stream next("abc");
    EXPECT_EQ(S_OK, pin.SetSourceFileStream(&next, 0));
    EXPECT_EQ(0u, source.References());
    EXPECT_EQ(Got(S_FALSE, "bc.."), SyncRead(pin, 1, 4));
    EXPECT_EQ(S_OK, pin.SetSourceFileStream(&source, 0));
    EXPECT_EQ(0u, next.References());
}

TEST_F(PinSourceTest, ThePinIsAReadOnlyStreamOfTheSource) {
    ASSERT_EQ(S_OK, pin.SetSourceFileStream(&source, 0));
    IStream& stream = pin;
    EXPECT_EQ(S_OK, stream.Seek({.QuadPart = 3}, STREAM_SEEK_SET, &position));
    char bytes[21]{};
    ULONG count = 99;
    EXPECT_EQ(S_FALSE, stream.Read(bytes, 20, &count));
    EXPECT_EQ(7u, count);
    EXPECT_STREQ("3456789", bytes);
    STATSTG stat{};
    EXPECT_EQ(S_OK, stream.Stat(&stat, STATFLAG_DEFAULT));
    EXPECT_STREQ(L"scripted", stat.pwcsName);
    ::CoTaskMemFree(stat.pwcsName);
    for (const Stream::Kind kind : {Stream::ReadCall, Stream::SeekCall, Stream::StatCall})
        source.On(kind, 0, {.result = STG_E_ACCESSDENIED});
    EXPECT_EQ(STG_E_ACCESSDENIED, stream.Read(bytes, 1, nullptr));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream.Seek({}, STREAM_SEEK_SET, &position));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream.Stat(&stat, STATFLAG_NONAME));

    const int calls = source.Calls();
    auto* clone = &stream;
    for (const HRESULT result : {stream.Write("x", 1, &count), stream.SetSize({}),
                                 stream.CopyTo(&source, {}, nullptr, nullptr), stream.Commit(0), stream.Revert(),
                                 stream.LockRegion({}, {}, 0), stream.UnlockRegion({}, {}, 0), stream.Clone(&clone)})
        EXPECT_EQ(E_NOTIMPL, result);
    EXPECT_EQ(nullptr, clone);
    EXPECT_EQ(calls, source.Calls());
}

TEST_F(PinSourceTest, WithoutASourceEveryOperationIsRefusedAfterItsArguments) {
    CTestSample sample(4);
    IMediaSample* next = &sample;
    DWORD_PTR user = 7;
    EXPECT_EQ(std::vector(6, E_UNEXPECTED), UseSource(pin));
    EXPECT_EQ(E_UNEXPECTED, pin.SyncRead(0, 0, nullptr));
    EXPECT_EQ(E_UNEXPECTED, pin.WaitForNext(0, &next, &user));
    for (const HRESULT result :
         {pin.SyncReadAligned(nullptr), pin.Request(nullptr, 0), pin.WaitForNext(0, nullptr, &user),
          pin.WaitForNext(0, &next, nullptr), pin.Length(&total, nullptr), pin.Length(nullptr, &total),
          pin.Read(nullptr, 1, nullptr), pin.Seek({}, 0, nullptr)})
        EXPECT_EQ(E_POINTER, result);
    EXPECT_EQ(S_OK, pin.BeginFlush());
    EXPECT_EQ(E_UNEXPECTED, pin.Request(&sample, 0)) << "before the state is looked at";
    EXPECT_EQ(nullptr, next);
    EXPECT_EQ(0u, user);
}

TEST(PinLostSourceTest, TheLossOfASourcesApartmentDoesNotAbortTheGraph) {
    const Log lines = LinesOf([] {
        Stream source("0123456789");
        CInnerFilter filter;
        CCustomFileSourcePin& pin = filter.Pin();
        std::thread([&] {
            const CTestApartment shortLived(COINIT_APARTMENTTHREADED);
            EXPECT_EQ(S_OK, pin.SetSourceFileStream(&source, 0));
        }).join();
        const std::vector<HRESULT> results = UseSource(pin);
        EXPECT_HRESULT_FAILED(results[0]);
        EXPECT_EQ(std::vector(results.size(), results[0]), results);
        CTestSample sample(4);
        EXPECT_EQ(kEndOfFile, pin.Request(&sample, 0)) << "nothing was read";
        EXPECT_EQ(std::vector<GraphEvent>{}, filter.graph.TakeEvents());
    });
    constexpr wchar_t kText[] = L"Could not get the stream from the GIT. Apartment was shut down prematurely!";
    const std::wstring aligned = Line(3, L"CCustomFileSourcePin::SyncReadAligned", kText);
    EXPECT_EQ((Log{Line(3, L"CCustomFileSourcePin::SyncRead", kText), aligned, aligned}),
              Log(lines.begin(), lines.begin() + 3));
}

TEST_F(PinSourceTest, ThePinOffersAndAcceptsTheListedPairs) {
    const filter::OfferedType listed[] = {
        {MEDIATYPE_Stream, MEDIASUBTYPE_Avi}, {MEDIATYPE_Stream, MEDIASUBTYPE_WAVE}, {GUID_NULL, GUID_NULL}};
    CMediaType type;
    EXPECT_EQ(S_FALSE, pin.CheckMediaType(&type)) << "nothing is offered yet";
    pin.OfferedTypes().Offer(
        std::make_shared<const std::vector<filter::OfferedType>>(std::begin(listed), std::end(listed)));
    type.SetFormatType(&FORMAT_VideoInfo);
    type.lSampleSize = 42;
    for (const int index : {-1, 3, INT_MAX, INT_MIN})
        EXPECT_EQ(VFW_S_NO_MORE_ITEMS, pin.GetMediaType(index, &type));
    EXPECT_EQ(FORMAT_VideoInfo, type.formattype);
    for (int index = 0; index < 3; ++index) {
        EXPECT_EQ(S_OK, pin.GetMediaType(index, &type));
        EXPECT_TRUE(type.majortype == listed[index].majorType && type.subtype == listed[index].subtype) << index;
        EXPECT_EQ(GUID_NULL, type.formattype);
        EXPECT_EQ(42u, type.lSampleSize) << "nothing else is set";
        EXPECT_EQ(S_OK, pin.QueryAccept(&type));
    }
    for (const auto& [major, subtype] :
         {std::pair{MEDIATYPE_Stream, GUID_NULL}, {GUID_NULL, MEDIASUBTYPE_WAVE}, {MEDIATYPE_Stream, FORMAT_None}}) {
        type.SetType(&major);
        type.SetSubtype(&subtype);
        EXPECT_EQ(S_FALSE, pin.CheckMediaType(&type)) << "halves of two entries, or neither";
    }
    // A load that failed takes back what it has cleared, unless another one was quicker.
    const filter::COfferedTypes::List former = pin.OfferedTypes().Clear();
    EXPECT_EQ(VFW_S_NO_MORE_ITEMS, pin.GetMediaType(0, &type));
    pin.OfferedTypes().TakeBack(former);
    EXPECT_EQ(S_OK, pin.GetMediaType(2, &type));
    pin.OfferedTypes().Offer(std::make_shared<const std::vector<filter::OfferedType>>(1));
    pin.OfferedTypes().TakeBack(former);
    EXPECT_EQ(VFW_S_NO_MORE_ITEMS, pin.GetMediaType(1, &type));
    EXPECT_EQ(E_POINTER, pin.GetMediaType(0, nullptr));
    EXPECT_EQ(E_POINTER, pin.CheckMediaType(nullptr));
}

TEST_F(PinSourceTest, ThePinForcesNothingButTheAlignment) {
    ComPtr<IMemAllocator> preferred, allocator;
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_ALL, IID_PPV_ARGS(&preferred)));
    for (IMemAllocator* given : {preferred.Get(), static_cast<IMemAllocator*>(nullptr)}) {
        ALLOCATOR_PROPERTIES properties{3, 4096, 512, 0}, actual{};
        ASSERT_EQ(S_OK, pin.RequestAllocator(given, &properties, allocator.ReleaseAndGetAddressOf()));
        EXPECT_EQ(given != nullptr, allocator.Get() == preferred.Get());
        EXPECT_EQ(1, properties.cbAlign);
        EXPECT_EQ(S_OK, allocator->GetProperties(&actual));
        EXPECT_EQ(3, actual.cBuffers);
    }
    // The parser gets its own allocator back even when the allocator refused.
    ALLOCATOR_PROPERTIES properties{3, 4096, 77, 0};
    ASSERT_EQ(S_OK, preferred->Commit());
    EXPECT_EQ(VFW_E_ALREADY_COMMITTED,
              pin.RequestAllocator(preferred.Get(), &properties, allocator.ReleaseAndGetAddressOf()));
    EXPECT_EQ(preferred.Get(), allocator.Get());
    EXPECT_EQ(S_OK, preferred->Decommit());
    properties.cbAlign = 77;
    EXPECT_EQ(S_OK, pin.RequestAllocator(preferred.Get(), &properties, nullptr)) << "asked whether the pin reads";
    EXPECT_EQ(77, properties.cbAlign);
    IMemAllocator* none = preferred.Get();
    EXPECT_EQ(E_POINTER, pin.RequestAllocator(nullptr, nullptr, &none));
    EXPECT_EQ(nullptr, none);
}

}  // namespace
