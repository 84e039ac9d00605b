// What is found in real content: whole, behind tags, on live sources, and cut off anywhere.
#include "tests/metadata/MetadataTest.h"

using namespace metadata;

namespace {

// What files of one structure have in common: the same container with sound or pictures in it. Where only the head or a
// part of it can be read, one may be taken for the other.
std::wstring FamilyOf(const std::wstring& type) {
    constexpr std::wstring_view kFamilies[] = {
        L" audio/mp1 audio/mp2 audio/mpeg ",
        L" audio/x-ms-wma video/x-ms-wmv video/x-ms-asf video/x-ms-dvr ",
        L" audio/x-pn-realaudio video/x-pn-realmedia ",
        L" audio/x-atrac3 audio/wav ",
        L" audio/mp4 video/mp4 audio/quicktime video/quicktime ",
        L" audio/ogg video/ogg application/ogg ",
        L" audio/x-matroska video/x-matroska ",
        L" audio/avi video/avi ",
    };
    for (const std::wstring_view family : kFamilies) {
        if (family.find(L" " + type + L" ") != family.npos)
            return std::wstring(family);
    }
    return type;
}

TEST(SamplesTest, EverySampleIsWhatItsFolderSaysAlsoBehindTags) {
    EXPECT_LT(80u, Samples().size());
    const std::string withFooter = std::string("ID3\4\0\x10\0\0\0\5", 10) + std::string(15, 'x');
    for (const Sample& sample : Samples()) {
        for (const std::string& front : {std::string(), Id3(0), withFooter, Id3(5), Id3(0) + Id3(6) + withFooter})
            EXPECT_EQ(sample.expected, Detected(front + sample.Content())) << sample.path << front.size();
    }
}

TEST(SamplesTest, ALiveSourceIsJudgedFromWhereItStands) {
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
        // The deciding bytes may lie behind what a live source shows.
        EXPECT_TRUE(answer == kNothing || FamilyOf(answer) == FamilyOf(sample.expected)) << answer;
        found += answer != kNothing;
        EXPECT_EQ(kPosition, PositionOf(source));
        EXPECT_GE(65'536 / 4096 + 3, source.Calls(CScriptedStream::ReadCall));
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
            ADD_FAILURE() << sample.path << " cut at " << length << ": " << answer;
            break;
        }
    }
}

}  // namespace
