// The filter with the product's own metadata library beside it.
#include "tests/filter/FilterTest.h"

namespace {

using Seeks = Stream::Seeks;

struct DictionaryTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    Stream stream;  // stands before the filter, which keeps it to its end
    CFilterHost host;

    void SetUp() override { host.Create(); }
    void TearDown() override { EXPECT_EQ(0u, host.Release()); }
};

TEST_F(DictionaryTest, ASourceThatCannotBeSoughtLosesNothingToDetection) {
    const std::string sound("RIFF\0\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x40\x1F\0\0\1\0\x08\0data\0\0\0\0", 44);
    // The type is looked for behind the tag.
    const std::string tag = std::string("ID3\4\0\0\0\6\x0D\x40", 10) + std::string(100'032, '\0');
    const std::string shortTag = std::string("ID3\4\0\0\0\3\x54\x60", 10) + std::string(60'000, 'x');
    const struct {
        const char* what;
        std::string start;
        size_t more;
        bool tellsSize;
        Seeks seeks;
        const char* offers;  // nothing: whatever it makes of it
    } sources[] = {
        {"a live one", sound, 300'000, false, Seeks::None, "W"},
        {"a live one that claims to be sought", sound, 300'000, false, Seeks::Claimed, "W"},
        {"it tells its size", sound, 300'000, true, Seeks::None, "W"},
        {"it is small", sound, 900, true, Seeks::None, "W"},
        {"detection would seek", tag + sound, 300'000, true, Seeks::None, nullptr},
        {"it goes onwards only", tag + sound, 300'000, true, Seeks::Onwards, nullptr},
        {"tags that are kept, and more behind", shortTag + shortTag, 300'000, true, Seeks::None, nullptr},
        {"zeros, too", std::string(300'000, '\0'), 2'000, true, Seeks::None, nullptr},
        {"it can be sought", tag + sound, 300'000, true, Seeks::All, "W"},
    };
    // Pieces smaller and larger than what is looked at, than the read buffer, and than what is kept for a second
    // reading.
    for (const auto& row : sources)
        for (const ULONG piece : {1u, 100u, 3000u, 66'000u, 0xFFFFFFFFu}) {
            SCOPED_TRACE(row.what + std::to_string(piece));
            std::string contents = row.start;
            for (size_t i = 0; i < row.more; ++i)
                contents += static_cast<char>(i * 31 >> 3);
            stream.SetContents(contents);
            stream.Rewind();
            stream.ReportSize(row.tellsSize ? contents.size() : ~0ull);
            stream.LimitTransfers(piece);
            stream.RefuseSeeks(row.seeks);
            ASSERT_HRESULT_SUCCEEDED(host.Open(&stream));
            if (row.offers) {
                EXPECT_EQ(row.offers, host.Offers());
            }
            const ComPtr<IAsyncReader> reader = host.Reader();
            std::string bytes(contents.size(), '.');
            for (size_t at = 0; at < bytes.size(); at += 4096) {
                const auto block = static_cast<LONG>(std::min<size_t>(4096, bytes.size() - at));
                ASSERT_EQ(S_OK, reader->SyncRead(static_cast<LONGLONG>(at), block,
                                                 reinterpret_cast<BYTE*>(bytes.data() + at)));
            }
            EXPECT_TRUE(contents == bytes);
        }
}

}  // namespace
