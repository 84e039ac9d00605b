// The pin's synchronous reads: every way in which a source or a sample can fail one, what the caller, the log and the
// graph get to know of it, and that the next read is none the worse.
#include "tests/filter/CInnerFilter.h"
#include "tests/filter/LoggedLines.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/CTestSample.h"

#include <evcode.h>
#include <vfwmsgs.h>

#include <gtest/gtest.h>

#include <functional>
#include <limits>

using Microsoft::WRL::ComPtr;

namespace {

using Stream = CScriptedStream;

constexpr LONGLONG kMost = std::numeric_limits<LONGLONG>::max();
constexpr LONGLONG kLeast = std::numeric_limits<LONGLONG>::min();

// The lines of one read function.
struct LinesOf {
    std::wstring function;

    std::wstring SeekFailed(const wchar_t* position, const wchar_t* hr) const {
        return Line(3, function,
                    std::wstring(L"Error while seeking the source file: Requested: ") + position + L", hr=" + hr);
    }
    std::wstring ReadFailed(const wchar_t* hr) const {
        return Line(3, function, std::wstring(L"Error while reading the source file: hr=") + hr);
    }
    std::wstring Inside(const wchar_t* position, const wchar_t* size) const {
        return Line(3, function,
                    std::wstring(L"The requested stream position is outside the file: Requested=") + position +
                        L", Size=" + size);
    }
    std::wstring Invalid() const { return Line(3, function, L"media sample is invalid"); }
    std::wstring End() const { return Line(1, function, L"End of stream"); }
};
const LinesOf kAligned{L"CCustomFileSourcePin::SyncReadAligned"};
const LinesOf kSync{L"CCustomFileSourcePin::SyncRead"};

GraphEvent Abort(HRESULT reason) {
    return {EC_ERRORABORT, reason, 0};
}
const GraphEvent kReadFault = Abort(static_cast<HRESULT>(0x8007001E));

// ---- SyncReadAligned: bytes 2 to 6 of ten, unless a case says otherwise, into a sample of eight

struct AlignedCase {
    const char* what;
    std::function<void(Stream&, CTestSample&)> arrange;
    HRESULT result;
    std::string data;
    std::vector<std::wstring> lines;
    std::vector<GraphEvent> events;
};

const AlignedCase kAlignedCases[] = {
    {"all is well", [](Stream&, CTestSample&) {}, S_OK, "2345", {}, {}},
    {"the range ends past the source", [](Stream&, CTestSample& s) { s.SetRange(8, 12); }, S_FALSE, "89", {}, {}},
    {"the range begins at the end", [](Stream&, CTestSample& s) { s.SetRange(10, 14); }, S_FALSE, "", {}, {}},
    {"the range begins past the end", [](Stream&, CTestSample& s) { s.SetRange(99, 103); }, S_FALSE, "", {}, {}},
    {"an empty range", [](Stream&, CTestSample& s) { s.SetRange(3, 3); }, S_OK, "", {}, {}},
    {"the whole sample", [](Stream&, CTestSample& s) { s.SetRange(1, 9); }, S_OK, "12345678", {}, {}},
    {"times between two bytes count for the first",
     [](Stream&, CTestSample& s) { s.start = 29'999'999, s.stop = 59'999'999; },
     S_OK,
     "234",
     {},
     {}},
    {"an empty range at the end of time", [](Stream&, CTestSample& s) { s.start = s.stop = kMost; }, S_OK, "", {}, {}},
    {"the source gives less", [](Stream& f, CTestSample&) { f.LimitTransfers(3); }, S_FALSE, "234", {}, {}},
    {"the source shrank", [](Stream& f, CTestSample&) { f.SetContents("012"); }, S_FALSE, "2", {}, {}},
    {"times are there without a stop",
     [](Stream&, CTestSample& s) { s.getTime = VFW_S_NO_STOP_TIME; },
     S_OK,
     "2345",
     {},
     {}},

    {"it stops before it starts",
     [](Stream&, CTestSample& s) { s.SetRange(6, 2); },
     E_FAIL,
     "",
     {kAligned.Invalid()},
     {}},
    {"it is larger than its buffer",
     [](Stream&, CTestSample& s) { s.SetRange(0, 9); },
     E_FAIL,
     "",
     {kAligned.Invalid()},
     {}},
    {"it spans all of time",
     [](Stream&, CTestSample& s) { s.start = kLeast, s.stop = kMost; },
     E_FAIL,
     "",
     {kAligned.Invalid()},
     {}},
    {"it spans all of time backwards",
     [](Stream&, CTestSample& s) { s.start = kMost, s.stop = kLeast; },
     E_FAIL,
     "",
     {kAligned.Invalid()},
     {}},
    {"its size is negative", [](Stream&, CTestSample& s) { s.claimedSize = -1; }, E_FAIL, "", {kAligned.Invalid()}, {}},

    {"the seek fails",
     [](Stream& f, CTestSample&) { f.On(Stream::kSeek, 0, {.result = STG_E_SEEKERROR}); },
     S_FALSE,
     "",
     {kAligned.SeekFailed(L"2", L"80030019"), kAligned.Inside(L"2", L"10"), kAligned.End()},
     {kReadFault}},
    {"the seek fails at the end",
     [](Stream& f, CTestSample& s) { s.SetRange(10, 14), f.On(Stream::kSeek, 0, {.result = STG_E_SEEKERROR}); },
     S_FALSE,
     "",
     {kAligned.SeekFailed(L"10", L"80030019"), kAligned.End()},
     {}},
    {"the seek to before the start fails",
     [](Stream&, CTestSample& s) { s.SetRange(-3, 1); },
     S_FALSE,
     "",
     {kAligned.SeekFailed(L"-3", L"80030001"), kAligned.End()},
     {}},
    {"the read fails",
     [](Stream& f, CTestSample&) { f.On(Stream::kRead, 0, {.result = STG_E_READFAULT}); },
     S_FALSE,
     "",
     {kAligned.ReadFailed(L"8003001e"), kAligned.Inside(L"2", L"10"), kAligned.End()},
     {kReadFault}},
    {"the read fails past the end",
     [](Stream& f, CTestSample& s) { s.SetRange(99, 103), f.On(Stream::kRead, 0, {.result = E_ABORT}); },
     S_FALSE,
     "",
     {kAligned.ReadFailed(L"80004004"), kAligned.End()},
     {}},
    {"the read fails inside the size that the source claims",
     [](Stream& f, CTestSample& s) {
         f.ReportSize(1000), s.SetRange(99, 103), f.On(Stream::kRead, 0, {.result = E_ABORT});
     },
     S_FALSE,
     "",
     {kAligned.ReadFailed(L"80004004"), kAligned.Inside(L"99", L"1000"), kAligned.End()},
     {kReadFault}},
    {"the read fails after some bytes",
     [](Stream& f, CTestSample&) { f.On(Stream::kRead, 0, {.result = STG_E_READFAULT, .bytes = 3}); },
     S_FALSE,
     "",
     {kAligned.ReadFailed(L"8003001e"), kAligned.Inside(L"2", L"10"), kAligned.End()},
     {kReadFault}},
    {"the read fails after all bytes",
     [](Stream& f, CTestSample&) { f.On(Stream::kRead, 0, {.result = STG_E_READFAULT, .bytes = 4}); },
     S_OK,
     "",
     {kAligned.ReadFailed(L"8003001e"), kAligned.Inside(L"2", L"10"), kAligned.End()},
     {kReadFault}},
    {"the source claims more than there is room for",
     [](Stream& f, CTestSample&) { f.On(Stream::kRead, 0, {.claim = 9}); },
     S_FALSE,
     "",
     {kAligned.ReadFailed(L"8004020d"), kAligned.Inside(L"2", L"10"), kAligned.End()},
     {kReadFault}},
    {"the read fails, and so does the question for the size",
     [](Stream& f, CTestSample&) {
         f.On(Stream::kRead, 0, {.result = STG_E_READFAULT}), f.On(Stream::kStat, 0, {.result = E_FAIL});
     },
     S_FALSE,
     "",
     {kAligned.ReadFailed(L"8003001e"), kAligned.End()},
     {}},

    {"the sample has no buffer",
     [](Stream&, CTestSample& s) { s.getPointer = E_OUTOFMEMORY; },
     S_OK,
     "",
     {kAligned.Inside(L"0", L"10"), kAligned.End()},
     {kReadFault}},
    {"the sample has no times",
     [](Stream&, CTestSample& s) { s.getTime = VFW_E_SAMPLE_TIME_NOT_SET; },
     S_FALSE,
     "",
     {kAligned.Inside(L"2", L"10"), kAligned.End()},
     {kReadFault}},
    {"the sample's length can't be cleared",
     [](Stream&, CTestSample& s) { s.setLength[0] = E_ACCESSDENIED; },
     S_FALSE,
     "",
     {kAligned.Inside(L"2", L"10"), kAligned.End()},
     {kReadFault}},
    {"the sample's length can't be set",
     [](Stream&, CTestSample& s) { s.setLength[1] = E_ACCESSDENIED; },
     S_OK,
     "",
     {kAligned.ReadFailed(L"80070005"), kAligned.Inside(L"2", L"10"), kAligned.End()},
     {kReadFault}},
};

TEST(PinSyncReadAligned, TellsEachFailureInItsOwnWayAndRecovers) {
    for (const AlignedCase& row : kAlignedCases) {
        SCOPED_TRACE(row.what);
        const CPublishedLogger logger;
        OnNewThread([&] {
            Stream source("0123456789");
            CInnerFilter filter;
            ASSERT_EQ(S_OK, filter->DisableDataFlow());
            ASSERT_EQ(S_OK, filter.Pin().SetSourceFileStream(&source, 0));
            CTestSample sample(8);
            sample.SetRange(2, 6);
            row.arrange(source, sample);
            EXPECT_EQ(row.result, filter.Pin().SyncReadAligned(&sample));
            EXPECT_EQ(row.data, sample.Data());
            EXPECT_EQ(row.events, filter.graph.TakeEvents());
            EXPECT_EQ(0u, sample.References());

            source.ForgetSteps();
            source.LimitTransfers(99);
            source.SetContents("abcdefghij");
            CTestSample next(4);
            next.SetRange(2, 6);
            EXPECT_EQ(S_OK, filter.Pin().SyncReadAligned(&next));
            EXPECT_EQ("cdef", next.Data());
            EXPECT_EQ(std::vector<GraphEvent>{}, filter.graph.TakeEvents());
        });
        std::vector<std::wstring> expected = row.lines;
        expected.push_back(
            Line(1, L"CCustomFileSourceFilter::CreateStreamThread", L"Create stream thread stop message received"));
        EXPECT_EQ(expected, Lines(logger));
    }
}

// ---- SyncRead: four bytes from 2 of ten, unless a case says otherwise

struct SyncCase {
    const char* what;
    LONGLONG position;
    LONG length;
    std::function<void(Stream&)> arrange;
    HRESULT result;
    std::string data;
    std::vector<std::wstring> lines;
    std::vector<GraphEvent> events;
};

const auto kHealthy = [](Stream&) {};
const auto kSeekFails = [](Stream& f) { f.On(Stream::kSeek, 0, {.result = STG_E_SEEKERROR}); };
const auto kReadFails = [](Stream& f) { f.On(Stream::kRead, 0, {.result = STG_E_READFAULT}); };

const SyncCase kSyncCases[] = {
    {"all is well", 2, 4, kHealthy, S_OK, "2345", {}, {}},
    {"across the end", 8, 4, kHealthy, S_FALSE, "89..", {}, {}},
    {"at the end", 10, 4, kHealthy, S_FALSE, "....", {}, {}},
    {"at the largest position", kMost, 4, kHealthy, S_FALSE, "....", {}, {}},
    {"no bytes", 2, 0, kHealthy, S_OK, "....", {}, {}},
    {"no bytes at the end", 10, 0, kHealthy, S_OK, "....", {}, {}},
    {"fewer than no bytes", 2, -1, kHealthy, S_FALSE, "....", {}, {}},
    {"the smallest number of bytes", 2, std::numeric_limits<LONG>::min(), kHealthy, S_FALSE, "....", {}, {}},
    {"the source gives less", 2, 4, [](Stream& f) { f.LimitTransfers(3); }, S_FALSE, "234.", {}, {}},
    {"the source claims more", 2, 4, [](Stream& f) { f.On(Stream::kRead, 0, {.claim = 9}); }, S_FALSE, "2345", {}, {}},
    {"the seek fails",
     2,
     4,
     kSeekFails,
     S_FALSE,
     "....",
     {kSync.SeekFailed(L"2", L"80030019"), kSync.Inside(L"2", L"10"), kSync.End()},
     {Abort(S_OK)}},
    {"the seek for no bytes fails",
     2,
     0,
     kSeekFails,
     S_OK,
     "....",
     {kSync.SeekFailed(L"2", L"80030019"), kSync.Inside(L"2", L"10"), kSync.End()},
     {Abort(S_OK)}},
    {"the seek fails at the end",
     10,
     4,
     kSeekFails,
     S_FALSE,
     "....",
     {kSync.SeekFailed(L"10", L"80030019"), kSync.End()},
     {}},
    {"the seek to the smallest position fails",
     kLeast,
     4,
     kHealthy,
     S_FALSE,
     "....",
     {kSync.SeekFailed(L"-9223372036854775808", L"80030001"), kSync.End()},
     {}},
    {"the read fails",
     2,
     4,
     kReadFails,
     S_FALSE,
     "....",
     {kSync.ReadFailed(L"8003001e"), kSync.Inside(L"2", L"10"), kSync.End()},
     {Abort(S_OK)}},
    {"the read fails at the end", 10, 4, kReadFails, S_FALSE, "....", {kSync.ReadFailed(L"8003001e"), kSync.End()}, {}},
    {"the read fails after all bytes",
     2,
     4,
     [](Stream& f) { f.On(Stream::kRead, 0, {.result = E_FAIL, .bytes = 4}); },
     S_OK,
     "2345",
     {kSync.ReadFailed(L"80004005"), kSync.Inside(L"2", L"10"), kSync.End()},
     {Abort(S_OK)}},
    {"the read fails, and the size is told with another success",
     2,
     4,
     [](Stream& f) { kReadFails(f), f.On(Stream::kStat, 0, {.result = VFW_S_ESTIMATED}); },
     S_FALSE,
     "....",
     {kSync.ReadFailed(L"8003001e"), kSync.Inside(L"2", L"10"), kSync.End()},
     {Abort(VFW_S_ESTIMATED)}},
    {"the read fails, and so does the question for the size",
     2,
     4,
     [](Stream& f) { kReadFails(f), f.On(Stream::kStat, 0, {.result = E_FAIL}); },
     S_FALSE,
     "....",
     {kSync.ReadFailed(L"8003001e"), kSync.End()},
     {}},
};

TEST(PinSyncRead, TellsEachFailureInItsOwnWayAndRecovers) {
    for (const SyncCase& row : kSyncCases) {
        SCOPED_TRACE(row.what);
        const CPublishedLogger logger;
        OnNewThread([&] {
            Stream source("0123456789");
            CInnerFilter filter;
            ASSERT_EQ(S_OK, filter->EnableDataFlow());
            ASSERT_EQ(S_OK, filter.Pin().SetSourceFileStream(&source, 0));
            row.arrange(source);
            std::string bytes(4, '.');
            BYTE* const buffer = reinterpret_cast<BYTE*>(bytes.data());
            EXPECT_EQ(row.result, filter.Pin().SyncRead(row.position, row.length, buffer));
            EXPECT_EQ(row.data, bytes);
            EXPECT_EQ(row.events, filter.graph.TakeEvents());

            source.ForgetSteps();
            source.LimitTransfers(99);
            EXPECT_EQ(S_OK, filter.Pin().SyncRead(3, 4, buffer));
            EXPECT_EQ("3456", bytes);
            EXPECT_EQ(std::vector<GraphEvent>{}, filter.graph.TakeEvents());
        });
        std::vector<std::wstring> expected = row.lines;
        expected.push_back(
            Line(1, L"CCustomFileSourceFilter::CreateStreamThread", L"Create stream thread stop message received"));
        EXPECT_EQ(expected, Lines(logger));
    }
}

// The same through the whole filter, whose read buffer stands between: no failure of a source, exceptions included,
// becomes a failure of a read.
TEST(PinSyncRead, NeverFailsAParserWhateverTheSourceDoes) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    for (const Stream::Kind kind : {Stream::kSeek, Stream::kRead}) {
        for (const bool throws : {false, true}) {
            SCOPED_TRACE(throws ? "throws" : "fails");
            Stream source(std::string(300'000, 'x') + "abcd");  // more than the buffer takes
            CInnerFilter filter;
            ASSERT_EQ(S_OK, filter->EnableDataFlow());
            AM_MEDIA_TYPE type{};
            ASSERT_EQ(S_OK, filter->OpenStream(&source, &type));
            source.On(kind, 0, {.result = STG_E_READFAULT, .throws = throws});
            BYTE bytes[5]{};
            EXPECT_EQ(S_FALSE, filter.Pin().SyncRead(300'000, 4, bytes));
            EXPECT_EQ(std::vector{Abort(S_OK)}, filter.graph.TakeEvents());
            EXPECT_EQ(S_OK, filter.Pin().SyncRead(300'000, 4, bytes));
            EXPECT_STREQ("abcd", reinterpret_cast<char*>(bytes));
            EXPECT_EQ(S_FALSE, filter.Pin().SyncRead(0, 4, nullptr));
            EXPECT_EQ(S_OK, filter.Pin().SyncRead(0, 4, bytes));
        }
    }
}

}  // namespace
