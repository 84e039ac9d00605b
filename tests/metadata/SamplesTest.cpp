// What is found in real content: whole, behind tags, on live sources, and cut off anywhere.
#include "tests/metadata/MetadataTest.h"

#include <cstdlib>
#include <cwchar>

namespace {

// What files of one structure have in common: the same container with sound or pictures in it. Where only the head is
// to be had, or a part of it, the one may be taken for the other.
std::wstring FamilyOf(const std::wstring& type) {
    constexpr const wchar_t* kFamilies[] = {
        L" audio/mp1 audio/mp2 audio/mpeg ",
        L" audio/x-ms-wma video/x-ms-wmv video/x-ms-asf video/x-ms-dvr ",
        L" audio/x-pn-realaudio video/x-pn-realmedia ",
        L" audio/x-atrac3 audio/wav ",
        L" audio/mp4 video/mp4 audio/quicktime video/quicktime ",
        L" audio/ogg video/ogg application/ogg ",
        L" audio/x-matroska video/x-matroska ",
        L" audio/avi video/avi ",
    };
    for (const wchar_t* const family : kFamilies) {
        if (std::wcsstr(family, (L" " + type + L" ").c_str()))
            return family;
    }
    return type;
}

std::string Narrow(const std::wstring& text) {
    return {text.begin(), text.end()};  // MIME types are ASCII
}

TEST(SamplesTest, EverySampleIsWhatItsFolderSays) {
    EXPECT_LT(80u, Samples().size());
    for (const Sample& sample : Samples())
        EXPECT_EQ(sample.expected, Detected(sample.Content())) << sample.path;
}

// tools/make-samples.sh makes such a folder.
TEST(SamplesTest, ManySamplesAreToldWellEnough) {
    const char* const folder = std::getenv("TV_SAMPLES");
    if (!folder)
        GTEST_SKIP() << "TV_SAMPLES names no folder";
    std::vector<Sample> samples;
    AddSamples(samples, folder);
    int media = 0, rightFirst = 0, rightFamily = 0;
    for (const Sample& sample : samples) {
        const std::wstring answer = Detected(sample.Content());
        if (answer != sample.expected)
            std::printf("%s: %s\n", sample.path.string().c_str(), Narrow(answer).c_str());
        const bool isMedia = sample.expected != kNothing;
        EXPECT_TRUE(isMedia || answer == kNothing) << sample.path;
        media += isMedia;
        rightFirst += isMedia && answer == sample.expected;
        rightFamily += isMedia && FamilyOf(answer) == FamilyOf(sample.expected);
    }
    std::printf("of %d media %d have the right first answer, %d the right family\n", media, rightFirst, rightFamily);
    EXPECT_LE(0.97 * media, rightFirst);
    EXPECT_LE(0.99 * media, rightFamily);
}

TEST(SamplesTest, TagsInFrontHideNothing) {
    const std::string withFooter = std::string("ID3\4\0\x10\0\0\0\5", 10) + std::string(15, 'x');
    const std::string tags[] = {Id3(0), withFooter, Id3(5), Id3(0) + Id3(6) + withFooter};
    for (const Sample& sample : Samples()) {
        SCOPED_TRACE(sample.path.string());
        for (const std::string& front : tags)
            EXPECT_EQ(sample.expected, Detected(front + sample.Content())) << front.size();
    }
}

TEST(SamplesTest, ALiveSourceIsJudgedFromWhereItStandsAndLosesNothing) {
    constexpr ULONGLONG kPosition = 11;
    int found = 0;
    for (const Sample& sample : Samples()) {
        SCOPED_TRACE(sample.path.string());
        CScriptedStream source("RIFF behind" + sample.Content() + std::string(70'000, '\x01'));
        source.ReportSize(ULONGLONG{1} << 63);
        source.LimitTransfers(4096);
        ASSERT_EQ(S_OK, source.Seek({.QuadPart = kPosition}, STREAM_SEEK_SET, nullptr));
        source.RefuseSeeksBut(kPosition);
        const std::wstring answer = FirstOf(MimeTypeDictionary()->Detect(&source));
        // What decides may lie beyond what a live source shows.
        EXPECT_TRUE(answer == kNothing || FamilyOf(answer) == FamilyOf(sample.expected)) << Narrow(answer);
        found += answer != kNothing;
        ULARGE_INTEGER position{};
        EXPECT_EQ(S_OK, source.Seek({}, STREAM_SEEK_CUR, &position));
        EXPECT_EQ(kPosition, position.QuadPart);
        EXPECT_GE(65'536 / 4096 + 3, source.Calls(CScriptedStream::kRead));
    }
    EXPECT_LT(70, found);
}

TEST(SamplesTest, CutOffAnywhereContentIsNeverOfAnotherFamily) {
    constexpr size_t kLengths = 4096;
    for (const Sample& sample : Samples()) {
        const std::string content = sample.Content();
        for (size_t length = 0; length <= std::min(kLengths, content.size()); ++length) {
            const std::wstring answer = Detected(std::string_view(content).substr(0, length));
            if (answer == kNothing || FamilyOf(answer) == FamilyOf(sample.expected))
                continue;
            ADD_FAILURE() << sample.path.string() << " cut at " << length << ": " << Narrow(answer);
            break;
        }
    }
}

}  // namespace
