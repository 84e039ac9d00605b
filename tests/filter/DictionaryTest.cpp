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
    const std::string tagged = std::string("ID3\4\0\0\0\6\x0D\x40", 10) + std::string(100'032, '\0') + sound;
    const struct {
        const char* what;
        const std::string& start;
        bool tellsSize;
        Seeks seeks;
        const char* offers;  // nothing: whatever it makes of it
    } sources[] = {
        {"a live one", sound, false, Seeks::None, "W"},
        {"a live one that claims to be sought", sound, false, Seeks::Claimed, "W"},
        {"detection would seek", tagged, true, Seeks::None, nullptr},
        {"it goes onwards only", tagged, true, Seeks::Onwards, nullptr},
        {"it can be sought", tagged, true, Seeks::All, "W"},
    };
    // Pieces smaller and larger than what is looked at, than the read buffer, and than what is kept for a second
    // reading.
    for (const auto& row : sources)
        for (const ULONG piece : {100u, 66'000u, 0xFFFFFFFFu}) {
            SCOPED_TRACE(row.what + std::to_string(piece));
            std::string contents = row.start;
            for (size_t i = 0; i < 300'000; ++i)
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
            for (size_t at = 0; at < contents.size(); at += 4096) {
                const std::string block = contents.substr(at, 4096);
                ASSERT_EQ(Got(S_OK, block),
                          SyncRead(*reader.Get(), static_cast<LONGLONG>(at), static_cast<LONG>(block.size())));
            }
        }
}

}  // namespace
