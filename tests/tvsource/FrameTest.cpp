// `play --frame`, and what becomes of the pictures that decoders give.
#include "base/ForeignCalls.h"
#include "tests/support/CTempFolder.h"
#include "tests/support/CTestApartment.h"
#include "tests/tvsource/CHost.h"
#include "tests/tvsource/TestVideo.h"
#include "tvsource/graph/Picture.h"

#include <amvideo.h>
#include <uuids.h>
#include <wincodec.h>

#include <algorithm>
#include <cmath>

namespace {

using Microsoft::WRL::ComPtr;
using tvsource::Picture;
using Points = std::vector<std::uint32_t>;  // red, green, blue

// What a PNG file shows at these points.
Points LookAt(const std::wstring& path, UINT width, UINT height, const std::vector<POINT>& at) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IWICImagingFactory> factory;
    ComPtr<IWICBitmapDecoder> decoder;
    ComPtr<IWICBitmapFrameDecode> frame;
    ComPtr<IWICBitmapSource> source;
    UINT isWidth = 0, isHeight = 0;
    EXPECT_HRESULT_SUCCEEDED(base::CreateObject(CLSID_WICImagingFactory, factory));
    const HRESULT hr =
        factory->CreateDecoderFromFilename(path.c_str(), nullptr, GENERIC_READ, WICDecodeMetadataCacheOnLoad, &decoder);
    EXPECT_HRESULT_SUCCEEDED(hr);
    if (FAILED(hr) || FAILED(decoder->GetFrame(0, &frame)) || FAILED(frame->GetSize(&isWidth, &isHeight)))
        return {};
    EXPECT_EQ(std::pair(width, height), std::pair(isWidth, isHeight));
    EXPECT_HRESULT_SUCCEEDED(::WICConvertBitmapSource(GUID_WICPixelFormat32bppBGR, frame.Get(), &source));
    Points points;
    for (const POINT& each : at) {
        const WICRect one{each.x, each.y, 1, 1};
        points.push_back(0);
        EXPECT_HRESULT_SUCCEEDED(source->CopyPixels(&one, 4, 4, reinterpret_cast<BYTE*>(&points.back())));
        points.back() &= 0xFFFFFF;
    }
    return points;
}

HostRun SaveFrame(const std::wstring& at, const std::wstring& output, const std::wstring& file,
                  const wchar_t* dll = L"TvFileSourceAsync.dll") {
    return RunWithFilter(L"play", {L"--frame", at, L"-o", output, file}, dll);
}

struct Frame : ::testing::Test {
    void SetUp() override {
        if (!HasParsers())
            GTEST_SKIP() << "the platform has no parsers for programs of this bitness";
    }
    CTempFolder folder;
    const std::wstring png = folder.Write("", L"frame.png");
};

TEST_F(Frame, IsTheOneThatIsShownAtTheTime) {
    // Rows of this width end in padding.
    const std::wstring video = folder.Write(TestVideo(62, 51, 6), L"fields.avi");
    const std::tuple<const wchar_t*, unsigned, const char*> rows[] = {{L"0", 0, "0.00 s"},   {L"0.99", 0, "0.99 s"},
                                                                      {L"1", 1, "1.00 s"},   {L"2.5", 2, "2.50 s"},
                                                                      {L"3e0", 3, "3.00 s"}, {L"5.999", 5, "6.00 s"}};
    for (const auto& [at, number, shown] : rows) {
        SCOPED_TRACE(Utf8(at));
        ExpectRun(SaveFrame(at, png, video), 0, {std::string("\nFrame    62x51 at ") + shown + " -> " + Utf8(png)});
        EXPECT_EQ((Points{ColourOf(number, 0), ColourOf(number, 1), ColourOf(number, 2), ColourOf(number, 3)}),
                  LookAt(png, 62, 51, {{0, 0}, {61, 0}, {0, 50}, {61, 50}}));
    }
}

TEST_F(Frame, OfACompressedVideoHasTheColoursOfTheTestPicture) {
    const auto isNear = [](std::uint32_t one, std::uint32_t other) {
        bool isNear = true;
        for (int shift = 0; shift < 24; shift += 8)
            isNear &= std::abs(static_cast<int>(one >> shift & 0xFF) - static_cast<int>(other >> shift & 0xFF)) < 64;
        return isNear;
    };
    const std::vector<POINT> points = {{20, 15}, {28, 15}, {36, 15}, {44, 15}, {62, 2}};
    const Points colours = {0xFF00FF, 0x0000FF, 0xFFFF00, 0x00FF00, 0xFFFFFF};
    for (const wchar_t* name : {L"clip.avi", L"clip.mp4", L"clip.mkv"}) {
        std::string pictures[2];
        for (size_t i = 0; i < std::size(pictures); ++i) {
            ExpectRun(SaveFrame(i == 0 ? L"0" : L"0.45", png, MediaFile(name)), 0, {"\nFrame    64x48 at "});
            const Points seen = LookAt(png, 64, 48, points);
            EXPECT_TRUE(std::ranges::equal(colours, seen, isNear)) << Utf8(name) << ::testing::PrintToString(seen);
            pictures[i] = BytesOf(png);
        }
        EXPECT_NE(pictures[0], pictures[1]) << "the picture moves";
    }
}

TEST_F(Frame, ThatCannotBeHadIsAFailureAndNoFileIsMade) {
    const std::string video = TestVideo(128, 96, 100);
    const std::wstring fields = folder.Write(video, L"fields.avi"), none = folder.PathOf(L"none.png");
    const std::tuple<std::wstring, const wchar_t*, std::wstring, const char*> rows[] = {
        {fields, L"100", none, "there is no frame at 100.00 s: the source has ended before, at 100.00 s\n"},
        {fields, L"9e11", none, "the source has ended before"},
        {MediaFile(L"tone.wav"), L"0", none, "there is no video in it, and so no frame\n"},
        {MediaFile(L"tone.ogg"), L"0", none, "there is no video in it, and so no frame\n"},
        {folder.Write("no sound in here at all", L"text.avi"), L"0", none, "No parser takes the source"},
        {fields, L"0", folder.Path(), "Cannot write "},
        {fields, L"0", folder.PathOf(L"missing\\a.png"), "Cannot write "}};
    for (const auto& [file, at, output, words] : rows)
        ExpectRun(SaveFrame(at, output, file), 1, {words});
    const HostRun broken = SaveFrame(L"99", none, folder.Write(video, L"video.broken"), kAwkward);
    ExpectRun(broken, 1, {});
    EXPECT_NE(broken.out.npos, broken.out.find("Ended    stopped by an error, 0x8003001E")) << broken.out;
    ExpectRun(SaveFrame(L"0", none, folder.Write(video, L"video.unreadable"), kAwkward), 1,
              {"No parser takes the source"});
    EXPECT_FALSE(std::filesystem::exists(none));
}

TEST(FrameOptions, ThatMakeNoSenseAreExplained) {
    const std::pair<std::vector<std::wstring>, const char*> rows[] = {
        {{L"--frame", L"-1", L"-o", L"x.png"}, "'-1' is no time in seconds"},
        {{L"--frame", L"nan", L"-o", L"x.png"}, "'nan' is no time in seconds"},
        {{L"--frame", L"inf", L"-o", L"x.png"}, "'inf' is no time in seconds"},
        {{L"--frame", L"1e300", L"-o", L"x.png"}, "'1e300' is no time in seconds"},
        {{L"--frame", L"0:01", L"-o", L"x.png"}, "'0:01' is no time in seconds"},
        {{L"--frame", L"", L"-o", L"x.png"}, "'' is no time in seconds"},
        {{L"--frame", L"1"}, "--frame requires -o"},
        {{L"-o", L"x.png"}, "-o requires --frame"},
        {{L"--frame", L"1", L"-o", L""}, "the file's name is empty"},
        {{L"--frame", L"1", L"-o", L"x.png", L"--null"}, "--null excludes --frame"},
        {{L"--frame", L"1", L"-o", L"x.png", L"--window"}, "--window excludes --frame"},
        {{L"--window", L"--null"}, "--null excludes --window"}};
    for (auto [arguments, words] : rows) {
        arguments.push_back(L"x.avi");
        ExpectRun(RunWithFilter(L"play", arguments), 2, {words});
    }
}

// A picture of 3x2 points, whose rows are "abc" and "def", as a decoder gives it.
struct Decoded {
    explicit Decoded(WORD bits, LONG height) {
        header.bmiHeader = {sizeof(BITMAPINFOHEADER), 3, height, 1, bits, BI_RGB, 0, 0, 0, 0, 0};
        const std::string_view rows[] = {height < 0 ? "abc" : "def", height < 0 ? "def" : "abc"};
        for (const std::string_view row : rows) {
            for (const char point : row)
                sample.insert(sample.end(), bits / 8u, static_cast<BYTE>(point));
            sample.resize((sample.size() + 3) / 4 * 4);
        }
    }
    [[nodiscard]] std::optional<Picture> Get() {
        AM_MEDIA_TYPE type{};
        type.formattype = format;
        type.cbFormat = size;
        type.pbFormat = reinterpret_cast<BYTE*>(&header);
        return tvsource::PictureOf(type, sample);
    }

    VIDEOINFOHEADER header{};
    GUID format = FORMAT_VideoInfo;
    ULONG size = sizeof header;
    std::vector<BYTE> sample;
};

TEST(DecodedPicture, IsReadFromTheTopDownWhicheverWayItComes) {
    for (const auto& [bits, height] : {std::pair<WORD, LONG>{24, 2}, {24, -2}, {32, 2}, {32, -2}}) {
        const std::optional<Picture> picture = Decoded(bits, height).Get();
        ASSERT_TRUE(picture) << bits << ' ' << height;
        EXPECT_EQ(std::pair(3u, 2u), std::pair(picture->width, picture->height));
        EXPECT_EQ("aaabbbcccdddeeefff", std::string(picture->points.begin(), picture->points.end())) << bits << height;
    }
}

TEST(DecodedPicture, OfAFormatThatCannotBeIsNone) {
    using Change = void (*)(Decoded&);
    const Change changes[] = {[](Decoded& each) { each.format = FORMAT_VideoInfo2; },
                              [](Decoded& each) { each.size -= 1; },
                              [](Decoded& each) { each.sample.pop_back(); },
                              [](Decoded& each) { each.header.bmiHeader.biSize -= 1; },
                              [](Decoded& each) { each.header.bmiHeader.biBitCount = 16; },
                              [](Decoded& each) { each.header.bmiHeader.biCompression = BI_BITFIELDS; },
                              [](Decoded& each) { each.header.bmiHeader.biWidth = 0; },
                              [](Decoded& each) { each.header.bmiHeader.biWidth = -3; },
                              [](Decoded& each) { each.header.bmiHeader.biWidth = LONG_MAX; },
                              [](Decoded& each) { each.header.bmiHeader.biHeight = 0; },
                              [](Decoded& each) { each.header.bmiHeader.biHeight = LONG_MAX; },
                              [](Decoded& each) { each.header.bmiHeader.biHeight = LONG_MIN; }};
    for (const Change change : changes) {
        Decoded decoded(32, 2);
        change(decoded);
        EXPECT_FALSE(decoded.Get()) << "change " << &change - changes;
    }
}

}  // namespace
