// The filter with the product's own metadata library beside it.
#include "tests/filter/FilterTest.h"

namespace {

struct DictionaryTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    Stream live;  // stands before the filter, which keeps it to its end
    CFilterHost host;

    void SetUp() override { host.Create(); }
    void TearDown() override { EXPECT_EQ(0u, host.Release()); }
};

TEST_F(DictionaryTest, ContentDecidesWhatIsOffered) {
    const struct {
        const wchar_t* file;
        const char* offers;
    } rows[] = {{L"tone.wav", "W"}, {L"clip.avi", "A"}, {L"tone.mp3", "M"}, {L"tone.ogg", "OOOOO"},
                {L"tone.au", "0"},  {L"clip.mp4", "0"}, {L"clip.mkv", "0"}, {L"tone.flac", "!"}};
    const std::string folder = TV_TEST_MEDIA "/";
    for (const auto& row : rows) {
        ASSERT_EQ(S_OK, host.Load(std::wstring(folder.begin(), folder.end()) + row.file)) << row.file;
        EXPECT_EQ(row.offers, host.Offers()) << row.file;
    }
}

TEST_F(DictionaryTest, ALiveSourceLosesNothingToDetection) {
    std::string sound("RIFF\0\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x40\x1F\0\0\1\0\x08\0data\0\0\0\0", 44);
    for (int i = 0; i < 300'000; ++i)
        sound += static_cast<char>(i * 31 >> 3);
    // Pieces smaller and larger than what is looked at, than the read buffer, and than what is kept for a second
    // reading.
    for (const ULONG piece : {1u, 100u, 1000u, 5000u, 66'000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(piece);
        live.SetContents(sound);
        live.Rewind();
        live.ReportSize(~0ull);
        live.LimitTransfers(piece);
        live.RefuseSeeks();
        const int seeks = live.Calls(Stream::kSeek);
        ASSERT_HRESULT_SUCCEEDED(host.Open(&live));
        EXPECT_EQ("W", host.Offers());
        const ComPtr<IAsyncReader> reader = host.Reader();
        std::string bytes(sound.size(), '.');
        for (size_t at = 0; at < bytes.size(); at += 4096) {
            const auto block = static_cast<LONG>(std::min<size_t>(4096, bytes.size() - at));
            ASSERT_EQ(S_OK,
                      reader->SyncRead(static_cast<LONGLONG>(at), block, reinterpret_cast<BYTE*>(bytes.data() + at)));
        }
        EXPECT_TRUE(sound == bytes);
        EXPECT_GE(seeks + 2, live.Calls(Stream::kSeek)) << "a live source isn't sought in";
    }
}

}  // namespace
