// Content that is broken or no media at all, and sources that fail, stall or lie.
#include "metadata/CMimeTypeDictionary.h"
#include "tests/metadata/MetadataTest.h"
#include "tests/support/CScriptedStream.h"

#include <algorithm>
#include <random>
#include <set>

namespace {

constexpr ULONGLONG kPosition = 3;  // where sources stand before detection

TEST(RobustnessTest, RandomBytesAreNeverMedia) {
    constexpr int kBuffers = 500'000;
    constexpr size_t kPool = 1 << 20;
    std::mt19937_64 random(20'240'501);
    std::string pool(kPool, '\0');
    for (int i = 0; i < kBuffers; ++i) {
        // Fresh bytes now and then; in between each buffer starts elsewhere in them, which is as good.
        if (i % 5000 == 0)
            std::ranges::generate(pool, [&] { return static_cast<char>(random()); });
        const size_t most = i % 100 == 0 ? 100'000 : i % 10 == 0 ? 4000 : 500;
        const std::string_view bytes(pool.data() + random() % (kPool - most), random() % most);
        CBytesStream stream(bytes, i % 3 == 0 ? CBytesStream::Kind::kLive : CBytesStream::Kind::kFile);
        ASSERT_EQ(kNothing, FirstOf(MimeTypeDictionary()->Detect(&stream)))
            << "buffer " << i << " of " << bytes.size() << " bytes";
    }
}

// Damages content the way that transfers and careless programs do.
class CDamager final {
public:
    explicit CDamager(std::vector<std::string> originals) : m_originals(std::move(originals)) {}

    std::string Next() {
        std::string content = One().substr(0, m_random() % 8 == 0 ? 80'000 : 1000);
        for (auto left = 1 + m_random() % 6; left > 0; --left) {
            // Mostly among the first bytes, which decide.
            const size_t reach = m_random() % 2 == 0 ? 64 : content.size();
            const size_t at = m_random() % (1 + std::min(content.size(), reach));
            const size_t count = std::min<size_t>(m_random() % 16, content.size() - at);
            const std::string& other = One();
            const std::string replacements[] = {
                "",
                std::string(m_random() % 16, static_cast<char>(m_random())),
                std::string(count, m_random() % 2 == 0 ? '\xFF' : '\0'),  // also as a length that is not to be trusted
                other.substr(m_random() % (1 + other.size()), m_random() % 300),
            };
            if (m_random() % 5 != 0)
                content.replace(at, count, replacements[m_random() % 4]);
            else if (at < content.size())
                content[at] = static_cast<char>(content[at] ^ 1 << m_random() % 8);
        }
        return content;
    }

private:
    const std::string& One() { return m_originals[m_random() % m_originals.size()]; }

    const std::vector<std::string> m_originals;
    std::mt19937_64 m_random{77};
};

TEST(RobustnessTest, DamagedContentGetsAKnownAnswerOrNoneInBoundedWork) {
    constexpr int kBuffers = 500'000;
    constexpr ULONGLONG kMostBytes = 4 * 1024 * 1024;
    std::vector<std::string> originals;
    for (const Sample& sample : Samples())
        originals.push_back(sample.Content());
    const Types list = Take(MimeTypeDictionary()->KnownTypes()).value_or(Types());
    const std::set<std::wstring> known(list.begin(), list.end());
    CDamager damager(std::move(originals));
    for (int i = 0; i < kBuffers; ++i) {
        const std::string bytes = damager.Next();
        const size_t position = std::min<size_t>(kPosition, bytes.size());
        CBytesStream stream(bytes, CBytesStream::Kind::kFile, position);
        const std::optional<Types> types = Take(MimeTypeDictionary()->Detect(&stream));
        ASSERT_TRUE(types) << i;
        for (const std::wstring& type : *types)
            ASSERT_TRUE(known.contains(type)) << type << i;
        ASSERT_EQ(position, stream.Position()) << i;
        ASSERT_GE(kMostBytes, stream.BytesRead()) << i;
    }
}

// Samples that are walked, searched and stepped through behind tags.
struct SourceTest : ::testing::Test {
    SourceTest() {
        for (const Sample& sample : Samples()) {
            for (const char* const name : {"moov-at-end.mp4", "cut-in-a-frame.mp3", "both.mkv", "tagged-adts.aac"}) {
                if (sample.path.filename() == name)
                    m_samples.push_back(sample);
            }
        }
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
                const std::wstring answer = Detected(source);
                // A source without a size is a live one, which isn't judged from its beginning.
                EXPECT_EQ(kind == CScriptedStream::kStat ? kNothing : L"failed", answer);
                // What failed may be the very seek back.
                EXPECT_TRUE(kind == CScriptedStream::kSeek || PositionOf(source) == kPosition);
                EXPECT_EQ(sample.expected, Detected(source));
                EXPECT_EQ(kPosition, PositionOf(source));
            }
        }
    }
}

TEST_F(SourceTest, PiecesAreAsGoodAsTheWhole) {
    for (const Sample& sample : m_samples) {
        for (const ULONG bytes : {1u, 7u, 4095u}) {
            CScriptedStream source(sample.Content());
            source.LimitTransfers(bytes);
            EXPECT_EQ(sample.expected, Detected(source)) << sample.path << bytes;
            EXPECT_EQ(kPosition, PositionOf(source));
        }
    }
}

TEST_F(SourceTest, AnEarlyEndAnImpossibleCountAndAnExceptionAreSurvived) {
    const std::pair<CScriptedStream::Step, const wchar_t*> kSteps[] = {
        {{.bytes = 0}, kNothing},
        {{.claim = 0x7FFFFFFF}, L"failed"},
        {{.throws = true}, L"failed"},
    };
    for (const Sample& sample : m_samples) {
        CScriptedStream source(sample.Content());
        for (const auto& [step, expected] : kSteps) {
            for (int read = 0; read < 4; ++read) {
                source.ForgetSteps();
                source.On(CScriptedStream::kRead, read, step);
                const std::wstring answer = Detected(source);
                EXPECT_TRUE(answer == expected || answer == sample.expected) << sample.path << answer;
                EXPECT_EQ(kPosition, PositionOf(source));
            }
        }
    }
}

TEST_F(SourceTest, AWrongSizeMisleadsNobody) {
    for (const Sample& sample : m_samples) {
        const std::string content = sample.Content();
        for (const ULONGLONG size :
             {ULONGLONG{0}, ULONGLONG{1}, content.size() / 2, content.size() * 3, MAXLONGLONG + 0ULL}) {
            CScriptedStream source(content);
            source.ReportSize(size);
            EXPECT_EQ(sample.expected, Detected(source)) << sample.path << size;
            EXPECT_EQ(kPosition, PositionOf(source));
        }
    }
}

}  // namespace
