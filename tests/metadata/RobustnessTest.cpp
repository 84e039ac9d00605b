// Sources that fail, stall or lie.
#include "TKDataServices.h"
#include "metadata/CStreamSource.h"
#include "tests/metadata/MetadataTest.h"
#include "tests/support/Await.h"

#include <thread>
#include <utility>

using namespace metadata;

namespace {

constexpr ULONGLONG kPosition = 3;  // where sources stand before detection

struct SourceTest : ::testing::Test {
    // Detects from kPosition on, to which the pointer has to come back.
    static std::wstring Detected(CScriptedStream& source, HRESULT expected = S_OK) {
        EXPECT_EQ(S_OK, source.Seek({.QuadPart = kPosition}, STREAM_SEEK_SET, nullptr));
        HRESULT result = E_ABORT;
        const std::wstring answer = FirstOf(DetectAndExplain(&source, nullptr, &result));
        EXPECT_EQ(expected, result);
        return answer;
    }

    // Samples that are walked, searched and stepped through behind tags.
    const std::vector<Sample> m_samples{{kSamples / "video-mp4" / "moov-at-end.mp4", L"video/mp4"},
                                        {kSamples / "audio-mpeg" / "cut-in-a-frame.mp3", L"audio/mpeg"},
                                        {kSamples / "video-x-matroska" / "both.mkv", L"video/x-matroska"},
                                        {kSamples / "audio-x-aac" / "tagged-adts.aac", L"audio/x-aac"}};
};

TEST_F(SourceTest, AFailureOfAnyCallIsReportedAsItCame) {
    using Step = CScriptedStream::Step;
    for (const Sample& sample : m_samples) {
        CScriptedStream source(std::string("ID3\x03\0\0\0\5\0\0", 10) + std::string(5 << 14, 'x') + sample.Content());
        for (const auto kind : {CScriptedStream::ReadCall, CScriptedStream::SeekCall, CScriptedStream::StatCall}) {
            const int before = source.Calls(kind);
            EXPECT_EQ(sample.expected, Detected(source));
            const int calls = source.Calls(kind) - before;
            const int own = kind == CScriptedStream::SeekCall;  // the test's own seek comes first
            for (int step = own; step < calls; ++step) {
                SCOPED_TRACE(sample.path.string() + " call " + std::to_string(kind) + " " + std::to_string(step));
                // A source that has no size, or whose seek fails, counts as live and isn't judged behind the tag. But
                // its position must be known, and must be put back.
                const bool isOnTheWay = own && step > own && step + 1 < calls;
                const bool isFailure = kind != CScriptedStream::StatCall && !isOnTheWay;
                // The last fault claims that the source stands elsewhere, or has read more than it was asked for.
                for (const auto& [fault, result] :
                     {std::pair(Step{.result = STG_E_ACCESSDENIED}, STG_E_ACCESSDENIED),
                      std::pair(Step{.throws = true}, E_UNEXPECTED),
                      std::pair(Step{.claim = 0x7FFFFFFF}, own ? STG_E_SEEKERROR : STG_E_READFAULT)}) {
                    if (fault.claim && (kind == CScriptedStream::StatCall || (own && step == own)))
                        continue;  // such a call claims nothing, or is believed
                    source.On(kind, step, fault);
                    EXPECT_EQ(isFailure ? L"failed" : kNothing, Detected(source, isFailure ? result : S_OK));
                    EXPECT_TRUE((own && step + 1 == calls) || PositionOf(source) == kPosition);
                }
                EXPECT_EQ(sample.expected, Detected(source));
                EXPECT_EQ(kPosition, PositionOf(source));
            }
        }
    }
}

TEST_F(SourceTest, PiecesAndWrongSizesMisleadNobody) {
    for (const Sample& sample : m_samples) {
        const std::string content = sample.Content();
        const ULONGLONG size = content.size();
        for (const ULONGLONG claimed : {size, size / 2, size * 3, 0ull, 1ull, ULONGLONG{MAXLONGLONG}}) {
            for (const ULONG pieces : {1u, 4095u, 0xFFFFFFFFu}) {
                CScriptedStream source(content);
                source.ReportSize(claimed);
                source.LimitTransfers(pieces);
                EXPECT_EQ(sample.expected, Detected(source)) << sample.path << claimed << " " << pieces;
                EXPECT_EQ(kPosition, PositionOf(source));
            }
        }
    }
}

// Over a slow network, say: the beginning isn't here yet.
TEST_F(SourceTest, OfAnAwaitedSourceNoMoreIsWaitedForThanItsFormatTakes) {
    HRESULT result = E_ABORT;
    CScriptedStream wave(Sample{kMedia / "tone.wav"}.Content() + std::string(200'000, '\0'));
    wave.HaveControl(CContent::kFirstHeadBytes);  // no more ever comes
    EXPECT_EQ(L"audio/wav", FirstOf(DetectAndExplain(&wave, nullptr, &result)));
    EXPECT_EQ(S_OK, result);
    for (const bool isLive : {false, true})
        for (const Sample& sample : Samples()) {
            const std::string content = sample.Content();
            CScriptedStream source(content);
            if (isLive)
                source.ReportSize(1ull << 63);
            const std::wstring expected = FirstOf(DetectAndExplain(&source, nullptr, &result));
            source.HaveControl(0);
            const std::jthread comes([&] {
                Await([&] { return !source.TakeAwaits().empty(); });
                source.HaveControl(content.size());
            });
            EXPECT_EQ(expected, FirstOf(DetectAndExplain(&source, nullptr, &result))) << sample.path;
        }
}

// A source that takes its time, by a clock that it moves itself.
struct SlowSourceTest : ::testing::Test {
    static inline std::uint64_t g_now = 0;
    static constexpr std::uint64_t kMostMs = 10'000;

    // Detects in a source that gives `pieceBytes` at once and takes `msPerByte` for each byte.
    static Detection Detect(CScriptedStream& source, ULONG pieceBytes, std::uint64_t msPerByte) {
        source.LimitTransfers(pieceBytes);
        source.OnEachRead([=](ULONG bytes) { g_now += bytes * msPerByte; });
        g_now = 77;
        return DetectFormat(&source, [] { return g_now; });
    }
    static std::wstring FirstOf(const Detection& detection) {
        const bool isFound = !detection.findings.empty() && detection.findings.back().verdict.types[0];
        return isFound ? detection.findings.back().verdict.types[0] : kNothing;
    }
    std::string movie = Sample{kSamples / "video-mp4" / "moov-at-end.mp4"}.Content();
};

TEST_F(SlowSourceTest, DetectionJudgesByWhatCameInTime) {
    const std::string content("RIFF\x24\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0@\x1F\0\0@\x1F\0\0\1\0\x08\0data", 40);
    const struct {
        ULONG piece;
        std::uint64_t msPerByte;
        bool isLive;
        const wchar_t* expected;
    } rows[] = {{1, 1000, false, kNothing},
                {0xFFFFFFFF, 1000, true, kNothing},
                {1, 100, true, L"audio/wav"},
                {0xFFFFFFFF, 100, false, L"audio/wav"},
                {0xFFFFFFFF, 1, true, L"audio/wav"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        CScriptedStream source(content + std::string(70'000, '\x41'));
        if (row.isLive)
            source.ReportSize(~0ull);
        const Detection detection = Detect(source, row.piece, row.msPerByte);
        EXPECT_EQ(S_OK, detection.result);
        EXPECT_TRUE(detection.isOutOfTime);
        EXPECT_EQ(row.expected, FirstOf(detection));
        EXPECT_GE(77 + kMostMs + 16 * row.msPerByte, g_now);
        EXPECT_LE(77 + kMostMs, g_now) << "no sooner";
        EXPECT_EQ(0u, PositionOf(source));
    }
    // A buffer that fills itself from a slow source before it gives its first byte, and then has the others at once.
    CScriptedStream buffer(content);
    buffer.OnEachRead([first = true](ULONG) mutable { g_now += std::exchange(first, false) ? 60'000 : 0; });
    const Detection buffered = DetectFormat(&buffer, [] { return g_now; });
    EXPECT_FALSE(buffered.isOutOfTime);
    EXPECT_STREQ(L"audio/wav", FirstOf(buffered).c_str());
    // An AC-3 frame that ends with the last byte that came in time doesn't end the content.
    CScriptedStream cut("\x0B\x77\x12\x34\x48@" + std::string(70'000, 'A'));
    EXPECT_EQ(kNothing, FirstOf(Detect(cut, 1, 36)));
}

TEST_F(SlowSourceTest, AWalkEndsInTimeToo) {
    // Each read of a walk takes 3 s, so that four of them fit.
    CScriptedStream source(Repeat(30, std::string("\0\1\0\0free", 8) + std::string(0xFFF8, 'x')));
    int walked = 0;
    source.OnEachRead([&](ULONG bytes) {
        walked += bytes == 0x8000;
        g_now += bytes == 0x8000 ? 3000 : 0;
    });
    g_now = 0;
    EXPECT_TRUE(DetectFormat(&source, [] { return g_now; }).isOutOfTime);
    EXPECT_EQ(4, walked) << "the fourth begins in time";
}

TEST_F(SlowSourceTest, WhereSeeksAreExpensiveTheHeadIsJudgedAlone) {
    const std::string song = Sample{kMedia / "tone.mp3"}.Content();
    const std::string frames = Repeat(10, song);
    const std::string spread =
        movie.substr(0, 40) + std::string("\0\2\0\0free", 8) + std::string(0x20000 - 8, 'x') + movie.substr(40);
    const struct {
        std::string content;
        const wchar_t* expected;
        int seeks;                      // at most: to see where it stands and back, and over a tag
        const wchar_t* expectedOfHead;  // where all seeks fail but that to the beginning
    } rows[] = {{movie, L"video/mp4", 3, L"video/mp4"},
                {spread, L"video/mp4", 3, L"video/mp4"},
                {Id3(1) + song, L"audio/mpeg", 4, L"audio/mpeg"},
                {Id3(20) + song, L"audio/mpeg", 4, kNothing},
                {Id3(100) + song, kNothing, 4, kNothing},
                {std::string(60'000, 'j') + frames, L"audio/mpeg", 3, L"audio/mpeg"},
                {std::string(65'500, '\0') + frames, kNothing, 3, kNothing},
                {std::string(200'000, '\0') + song, kNothing, 3, kNothing}};
    for (const auto& row : rows) {
        CScriptedStream source(row.content + std::string(70'000, 'y'));
        source.ReportState(TKDS_STATE_SEEKS_READ_THROUGH);
        EXPECT_EQ(row.expected, FirstOf(Detect(source, 0xFFFFFFFF, 0))) << &row - rows;
        EXPECT_GE(row.seeks, source.Calls(CScriptedStream::SeekCall)) << &row - rows;
        CScriptedStream head(row.content + std::string(70'000, 'y'));
        head.RefuseSeeksBut(0);
        EXPECT_EQ(row.expectedOfHead, FirstOf(Detect(head, 0xFFFFFFFF, 0))) << &row - rows;
    }
}

}  // namespace
