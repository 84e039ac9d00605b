// Content that is broken or no media at all, and sources that fail, stall or lie.
#include "metadata/CMimeTypeDictionary.h"
#include "tests/metadata/MetadataTest.h"

#include <algorithm>
#include <random>

namespace {

constexpr ULONGLONG kPosition = 3;  // where sources stand before detection

TEST(RobustnessTest, RandomBytesAreNeverMedia) {
    constexpr int kBuffers = 500'000;
    std::mt19937 random(20'240'501);
    std::string pool(1 << 20, '\0');
    for (int i = 0; i < kBuffers; ++i) {
        // Fresh bytes now and then; in between each buffer starts elsewhere in them, which is as good.
        if (i % 5000 == 0)
            std::ranges::generate(pool, [&] { return static_cast<char>(random()); });
        const size_t most = i % 100 == 0 ? 100'000 : i % 10 == 0 ? 4000 : 500;
        const std::string_view bytes(pool.data() + random() % (pool.size() - most), random() % most);
        ASSERT_EQ(kNothing, Detected(*MimeTypeDictionary(), bytes)) << i;
    }
}

// Content damaged the way that transfers and careless programs do it.
std::string Damaged(const std::vector<std::string>& originals, std::mt19937& random) {
    const auto one = [&]() -> const std::string& { return originals[random() % originals.size()]; };
    std::string content = one().substr(0, random() % 8 == 0 ? 80'000 : 1000);
    for (auto left = 1 + random() % 6; left > 0; --left) {
        // Mostly among the first bytes, which decide.
        const size_t reach = random() % 2 == 0 ? 64 : content.size();
        const size_t at = random() % (1 + std::min(content.size(), reach));
        const size_t count = std::min<size_t>(random() % 16, content.size() - at);
        const std::string& other = one();
        const std::string replacements[] = {
            "",
            std::string(random() % 16, static_cast<char>(random())),
            std::string(count, random() % 2 == 0 ? '\xFF' : '\0'),  // also as a length that is not to be trusted
            other.substr(random() % (1 + other.size()), random() % 300),
        };
        if (random() % 5 != 0)
            content.replace(at, count, replacements[random() % 4]);
        else if (at < content.size())
            content[at] = static_cast<char>(content[at] ^ 1 << random() % 8);
    }
    return content;
}

TEST(RobustnessTest, DamagedContentGetsAKnownAnswerOrNoneInBoundedWork) {
    constexpr int kBuffers = 500'000;
    constexpr int kMostCalls = 200;
    std::vector<std::string> originals;
    for (const Sample& sample : Samples())
        originals.push_back(sample.Content());
    const Types known = Take(MimeTypeDictionary()->KnownTypes()).value_or(Types());
    std::mt19937 random(77);
    for (int i = 0; i < kBuffers; ++i) {
        CScriptedStream source(Damaged(originals, random));
        const std::optional<Types> types = Take(MimeTypeDictionary()->Detect(&source));
        ASSERT_TRUE(types) << i;
        for (const std::wstring& type : *types)
            ASSERT_EQ(1, std::ranges::count(known, type)) << type << i;
        ASSERT_GE(kMostCalls, source.Calls()) << i;
    }
}

struct SourceTest : ::testing::Test {
    SourceTest() {
        // Samples that are walked, searched and stepped through behind tags.
        for (const char* const name : {"moov-at-end.mp4", "cut-in-a-frame.mp3", "both.mkv", "tagged-adts.aac"})
            std::ranges::copy_if(Samples(), std::back_inserter(m_samples),
                                 [name](const Sample& sample) { return sample.path.filename() == name; });
    }
    // Detects from kPosition on, to which the pointer has to come back.
    static std::wstring Detected(CScriptedStream& source) {
        EXPECT_EQ(S_OK, source.Seek({.QuadPart = kPosition}, STREAM_SEEK_SET, nullptr));
        return FirstOf(MimeTypeDictionary()->Detect(&source));
    }
    static ULONGLONG PositionOf(CScriptedStream& source) {
        ULARGE_INTEGER position{.QuadPart = 99};
        source.Seek({}, STREAM_SEEK_CUR, &position);
        return position.QuadPart;
    }

    std::vector<Sample> m_samples;
};

TEST_F(SourceTest, AFailureOfAnyCallGivesNullAndSpoilsNothing) {
    ASSERT_EQ(4u, m_samples.size());
    for (const Sample& sample : m_samples) {
        CScriptedStream source(std::string("ID3\x03\0\0\0\5\0\0", 10) + std::string(5 << 14, 'x') + sample.Content());
        for (const auto kind : {CScriptedStream::kRead, CScriptedStream::kSeek, CScriptedStream::kStat}) {
            const int before = source.Calls(kind);
            EXPECT_EQ(sample.expected, Detected(source));
            const int calls = source.Calls(kind) - before;
            const int own = kind == CScriptedStream::kSeek;  // the test's own seek comes first
            for (int step = own; step < calls; ++step) {
                SCOPED_TRACE(sample.path.string() + " call " + std::to_string(kind) + " " + std::to_string(step));
                source.On(kind, step, {.result = STG_E_READFAULT});
                // A source without a size is a live one, which isn't judged from its beginning.
                EXPECT_EQ(kind == CScriptedStream::kStat ? kNothing : L"failed", Detected(source));
                // What failed may be the very seek back.
                EXPECT_TRUE(kind == CScriptedStream::kSeek || PositionOf(source) == kPosition);
                EXPECT_EQ(sample.expected, Detected(source));
                EXPECT_EQ(kPosition, PositionOf(source));
            }
        }
    }
}

TEST_F(SourceTest, PiecesAndAWrongSizeMisleadNobody) {
    for (const Sample& sample : m_samples) {
        const std::string content = sample.Content();
        const ULONGLONG size = content.size();
        for (const ULONGLONG claimed : {size, size / 2, size * 3, ULONGLONG{0}, ULONGLONG{1}, ULONGLONG{MAXLONGLONG}}) {
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

TEST_F(SourceTest, AnEarlyEndAnImpossibleCountAndAnExceptionAreSurvived) {
    const std::pair<CScriptedStream::Step, const wchar_t*> kSteps[] = {
        {{.bytes = 0}, kNothing}, {{.claim = 0x7FFFFFFF}, L"failed"}, {{.throws = true}, L"failed"}};
    for (const Sample& sample : m_samples) {
        for (const auto& [step, expected] : kSteps) {
            for (int read = 0; read < 4; ++read) {
                CScriptedStream source(sample.Content());
                source.On(CScriptedStream::kRead, read, step);
                const std::wstring answer = Detected(source);
                EXPECT_TRUE(answer == expected || answer == sample.expected) << sample.path << answer;
                EXPECT_EQ(kPosition, PositionOf(source));
            }
        }
    }
}

}  // namespace
