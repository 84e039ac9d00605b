// The pin's synchronous reads: every way in which a source or a sample can fail one, what the caller, the log and the
// graph get to know of it, and that the next read works.
#include "tests/support/CInnerFilter.h"
#include "tests/support/FilterTest.h"

#include <evcode.h>

#include <climits>
#include <functional>

namespace {

// A read that failed: the result that the log has for the failing call and, if the position is inside the source, the
// source's size, since the graph is aborted then.
struct Failure {
    const wchar_t* seek = nullptr;
    const wchar_t* read = nullptr;
    int inside = 0;
    HRESULT abortReason = S_OK;  // what SyncRead tells the graph
};
using MaybeFailure = std::optional<Failure>;
enum class Way { SyncRead, SyncReadAligned };

// Reads `length` bytes of "0123456789"; a sample has room for eight. The read's result, bytes, log and events must be
// these, and the next read must succeed.
void ExpectRead(Way way, LONGLONG position, LONG length, const std::function<void(Stream&, CTestSample&)>& arrange,
                const Got& expected, const MaybeFailure& failure = {}, LONGLONG loggedPosition = -1) {
    const bool aligned = way == Way::SyncReadAligned;
    const std::wstring at = std::to_wstring(loggedPosition < 0 ? position : loggedPosition);
    Log errors;
    if (aligned && expected.first == E_FAIL)
        errors.push_back(L"media sample is invalid");
    if (failure && failure->seek)
        errors.push_back(L"Error while seeking the source file: Requested: " + at + L", hr=" + failure->seek);
    if (failure && failure->read)
        errors.push_back(std::wstring(L"Error while reading the source file: hr=") + failure->read);
    std::vector<GraphEvent> events;
    if (failure && failure->inside) {
        errors.push_back(L"The requested stream position is outside the file: Requested=" + at + L", Size=" +
                         std::to_wstring(failure->inside));
        events.push_back({EC_ERRORABORT, aligned ? static_cast<HRESULT>(0x8007001E) : failure->abortReason, 0});
    }
    const std::wstring function =
        aligned ? L"CCustomFileSourcePin::SyncReadAligned" : L"CCustomFileSourcePin::SyncRead";
    Log lines;
    for (const std::wstring& error : errors)
        lines.push_back(Line(3, function, error));
    if (failure)
        lines.push_back(Line(1, function, L"End of stream"));
    lines.push_back(kStopped);
    EXPECT_EQ(lines, LinesOf([&] {
                  Stream source("0123456789");
                  CTestSample sample(8);
                  if (aligned)
                      sample.SetRange(position, position + length);
                  CInnerFilter filter;
                  ASSERT_EQ(S_OK, filter.Pin().SetSourceFileStream(&source, 0));
                  arrange(source, sample);
                  const auto read = [&] {
                      const HRESULT hr = filter.Pin().SyncReadAligned(&sample);
                      return Got(hr, sample.Data());
                  };
                  EXPECT_EQ(expected, aligned ? read() : SyncRead(filter.Pin(), position, length));
                  EXPECT_EQ(0u, sample.References());
                  EXPECT_EQ(events, filter.graph.TakeEvents());
                  source.ForgetSteps();
                  source.LimitTransfers(99);
                  source.SetContents("abcdefghij");
                  EXPECT_EQ(Got(S_OK, "defg"), SyncRead(filter.Pin(), 3, 4));
                  EXPECT_EQ(std::vector<GraphEvent>{}, filter.graph.TakeEvents());
              }));
}

const auto kHealthy = [](Stream&) {};
const auto kSeekFails = [](Stream& s) { s.On(Stream::SeekCall, 0, {.result = STG_E_SEEKERROR}); };
const auto kReadFails = [](Stream& s) { s.On(Stream::ReadCall, 0, {.result = STG_E_READFAULT}); };
const auto kReadFailsAfter = [](ULONG bytes) {
    return [=](Stream& s) { s.On(Stream::ReadCall, 0, {.result = STG_E_READFAULT, .bytes = bytes}); };
};
const auto kReadFailsAndStatGives = [](HRESULT hr) {
    return [=](Stream& s) { kReadFails(s), s.On(Stream::StatCall, 0, {.result = hr}); };
};

TEST(PinReadTest, EachFaultOfASourceIsToldInItsOwnWay) {
    const Failure seek{.seek = L"80030019", .inside = 10}, seekOutside{.seek = L"80030019"};
    const Failure read{.read = L"8003001e", .inside = 10}, readOutside{.read = L"8003001e"};
    const auto claims1000 = [](Stream& s) { s.ReportSize(1000), kReadFails(s); };
    const Failure readIn1000{.read = L"8003001e", .inside = 1000};
    const struct {
        const char* what;
        LONGLONG position;
        LONG length;
        std::function<void(Stream&)> arrange;
        Got expected;
        MaybeFailure failure = {};
    } cases[] = {
        {"all is well", 2, 4, kHealthy, {S_OK, "2345"}},
        {"across the end", 8, 4, kHealthy, {S_FALSE, "89.."}},
        {"at the end", 10, 4, kHealthy, {S_FALSE, "...."}},
        {"past the end", 99, 4, kHealthy, {S_FALSE, "...."}},
        {"no bytes", 3, 0, kHealthy, {S_OK, "...."}},
        {"it gives less", 2, 4, [](Stream& s) { s.LimitTransfers(3); }, {S_FALSE, "234."}},
        {"it shrank", 2, 4, [](Stream& s) { s.SetContents("012"); }, {S_FALSE, "2..."}},
        {"before the start", -3, 4, kHealthy, {S_FALSE, "...."}, Failure{.seek = L"80030001"}},
        {"failed seek", 2, 4, kSeekFails, {S_FALSE, "...."}, seek},
        {"failed seek for nothing", 2, 0, kSeekFails, {S_OK, "...."}, seek},
        {"failed seek to the end", 10, 4, kSeekFails, {S_FALSE, "...."}, seekOutside},
        {"failed read", 2, 4, kReadFails, {S_FALSE, "...."}, read},
        {"failed read after some bytes", 2, 4, kReadFailsAfter(3), {S_FALSE, "234."}, read},
        {"failed read after all bytes", 2, 4, kReadFailsAfter(4), {S_OK, "2345"}, read},
        {"failed read past the end", 99, 4, kReadFails, {S_FALSE, "...."}, readOutside},
        {"failed read inside the size that is claimed", 99, 4, claims1000, {S_FALSE, "...."}, readIn1000},
        {"failed read, and the size isn't told", 2, 4, kReadFailsAndStatGives(E_FAIL), {S_FALSE, "...."}, readOutside},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        const auto arrange = [&](Stream& source, CTestSample&) { row.arrange(source); };
        const auto& [result, bytes] = row.expected;
        ExpectRead(Way::SyncRead, row.position, row.length, arrange, row.expected, row.failure);
        // After a failed read the sample holds no bytes.
        ExpectRead(Way::SyncReadAligned, row.position, row.length, arrange,
                   {result, row.failure ? "" : bytes.substr(0, bytes.find('.'))}, row.failure);
    }
}

TEST(PinReadTest, TheTwoWaysDifferInWhatTheyBelieve) {
    const auto healthy = [](Stream&, CTestSample&) {};
    const auto claimsMore = [](Stream& s, CTestSample&) { s.On(Stream::ReadCall, 0, {.claim = 9}); };
    ExpectRead(Way::SyncRead, 2, 4, claimsMore, {S_FALSE, "2345"});
    ExpectRead(Way::SyncReadAligned, 2, 4, claimsMore, {S_FALSE, ""}, Failure{.read = L"8004020d", .inside = 10});
    ExpectRead(
        Way::SyncRead, 2, 4, [](Stream& s, CTestSample&) { kReadFailsAndStatGives(VFW_S_ESTIMATED)(s); },
        {S_FALSE, "...."}, Failure{.read = L"8003001e", .inside = 10, .abortReason = VFW_S_ESTIMATED});
    ExpectRead(Way::SyncRead, LLONG_MAX, 4, healthy, {S_FALSE, "...."});
    ExpectRead(Way::SyncRead, 2, -1, healthy, {S_FALSE, "...."});
    ExpectRead(Way::SyncRead, 2, LONG_MIN, healthy, {S_FALSE, "...."});
}

TEST(PinReadTest, EachFaultOfASampleIsToldInItsOwnWay) {
    const Failure untold{.inside = 10}, setLength{.read = L"80004005", .inside = 10};
    const struct {
        const char* what;
        std::function<void(CTestSample&)> arrange;
        Got expected;
        MaybeFailure failure = {};
        LONGLONG position = 2;
    } cases[] = {
        {"it is filled", [](CTestSample& s) { s.SetRange(1, 9); }, {S_OK, "12345678"}},
        {"between two bytes", [](CTestSample& s) { s.start = 29'999'999, s.stop = 59'999'999; }, {S_OK, "234"}},
        {"the end of time", [](CTestSample& s) { s.start = s.stop = LLONG_MAX; }, {S_OK, ""}},
        {"no stop time", [](CTestSample& s) { s.getTime = VFW_S_NO_STOP_TIME; }, {S_OK, "2345"}},
        {"it stops before it starts", [](CTestSample& s) { s.SetRange(6, 2); }, {E_FAIL, ""}},
        {"larger than its buffer", [](CTestSample& s) { s.SetRange(0, 9); }, {E_FAIL, ""}},
        {"all of time", [](CTestSample& s) { s.start = LLONG_MIN, s.stop = LLONG_MAX; }, {E_FAIL, ""}},
        {"all of time backwards", [](CTestSample& s) { s.start = LLONG_MAX, s.stop = LLONG_MIN; }, {E_FAIL, ""}},
        {"a negative size", [](CTestSample& s) { s.claimedSize = -1; }, {E_FAIL, ""}},
        {"no buffer", [](CTestSample& s) { s.getPointer = E_FAIL; }, {S_OK, ""}, untold, 0},
        {"no times", [](CTestSample& s) { s.getTime = E_FAIL; }, {S_FALSE, ""}, untold},
        {"it can't be cleared", [](CTestSample& s) { s.setLength[0] = E_FAIL; }, {S_FALSE, ""}, untold},
        {"its length can't be set", [](CTestSample& s) { s.setLength[1] = E_FAIL; }, {S_OK, ""}, setLength},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        ExpectRead(
            Way::SyncReadAligned, 2, 4, [&](Stream&, CTestSample& sample) { row.arrange(sample); }, row.expected,
            row.failure, row.position);
    }
}

}  // namespace
