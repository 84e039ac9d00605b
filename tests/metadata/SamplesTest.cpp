// What is found in real content: whole, behind tags, on live sources, and cut off anywhere.
#include "metadata/CMimeTypeDictionary.h"
#include "tests/metadata/MetadataTest.h"

#include <cstdlib>
#include <map>

namespace {

using Kind = CBytesStream::Kind;

std::wstring Detected(std::string_view content, Kind kind = Kind::kFile) {
    CBytesStream stream(content, kind);
    return FirstOf(MimeTypeDictionary()->Detect(&stream));
}

// What files of one structure have in common: the same container with sound or pictures in it. Where only the head is
// to be had, or a part of it, the one may be taken for the other.
std::wstring FamilyOf(const std::wstring& type) {
    static const std::map<std::wstring, std::wstring> kFamilies{
        {L"x-ms-wma", L"asf"},
        {L"x-ms-wmv", L"asf"},
        {L"x-ms-asf", L"asf"},
        {L"x-ms-dvr", L"asf"},
        {L"x-pn-realaudio", L"real"},
        {L"x-pn-realmedia", L"real"},
        {L"x-atrac3", L"wav"},
        {L"quicktime", L"mp4"},
        {L"audio/mp1", L"audio frames"},
        {L"audio/mp2", L"audio frames"},
        {L"audio/mpeg", L"audio frames"},
    };
    const std::wstring container = type.substr(type.find(L'/') + 1);
    for (const std::wstring& name : {type, container}) {
        if (const auto found = kFamilies.find(name); found != kFamilies.end())
            return found->second;
    }
    // "audio/mpeg" and "video/mpeg" have only the word in common.
    return container == L"mpeg" ? type : container;
}

std::string Narrow(const std::wstring& text) {
    return {text.begin(), text.end()};  // MIME types are ASCII
}

struct Rates {
    int media = 0;
    int rightFirst = 0;
    int rightFamily = 0;
    int falsePositives = 0;
    std::map<std::wstring, std::map<std::wstring, int>> answers;  // by expected type

    void Count(const Sample& sample, const std::wstring& answer) {
        ++answers[sample.expected][answer];
        if (answer != sample.expected)
            std::printf("%s: %s\n", sample.path.string().c_str(), Narrow(answer).c_str());
        const bool isMedia = sample.expected != kNothing;
        media += isMedia;
        rightFirst += isMedia && answer == sample.expected;
        rightFamily += isMedia && FamilyOf(answer) == FamilyOf(sample.expected);
        falsePositives += !isMedia && answer != kNothing;
    }
    void Print() const {
        for (const auto& [expected, row] : answers) {
            std::printf("  %-24s", Narrow(expected).c_str());
            for (const auto& [answer, count] : row)
                std::printf(" %5d %s", count, answer == expected ? "right" : Narrow(answer).c_str());
            std::printf("\n");
        }
        std::printf("%d media: first answer right %.2f%%, family right %.2f%%; %d others taken for media\n", media,
                    100.0 * rightFirst / media, 100.0 * rightFamily / media, falsePositives);
    }
};

TEST(SamplesTest, EverySampleIsWhatItsFolderSays) {
    Rates rates;
    for (const Sample& sample : Samples())
        rates.Count(sample, Detected(sample.Content()));
    rates.Print();
    EXPECT_LT(80, rates.media);
    EXPECT_EQ(rates.media, rates.rightFirst);
    EXPECT_EQ(0, rates.falsePositives);
}

// tools/make-samples.sh makes such a folder.
TEST(SamplesTest, ManySamplesAreToldWellEnough) {
    const char* const folder = std::getenv("TV_SAMPLES");
    if (!folder)
        GTEST_SKIP() << "TV_SAMPLES names no folder";
    std::vector<Sample> samples;
    AddSamples(samples, folder);
    for (const Kind kind : {Kind::kFile, Kind::kLive}) {
        Rates rates;
        for (const Sample& sample : samples)
            rates.Count(sample, Detected(sample.Content(), kind));
        rates.Print();
        EXPECT_EQ(0, rates.falsePositives);
        if (kind == Kind::kFile) {
            EXPECT_LE(0.97 * rates.media, rates.rightFirst);
            EXPECT_LE(0.99 * rates.media, rates.rightFamily);
        }
    }
}

TEST(SamplesTest, TagsInFrontHideNothing) {
    const auto tag = [](unsigned bytes, bool footer) {
        std::string text = std::string("ID3\x04\0", 5) + (footer ? '\x10' : '\0');
        for (const int shift : {21, 14, 7, 0})
            text += static_cast<char>(bytes >> shift & 0x7F);
        return text + std::string(bytes, '\x55') + (footer ? std::string("3DI\x04\0\x10\0\0\0\0", 10) : "");
    };
    const std::string tags[] = {tag(0, false), tag(100, true), tag(90'000, false), tag(70'000, true) + tag(50, false)};
    for (const Sample& sample : Samples()) {
        SCOPED_TRACE(sample.path.string());
        for (const std::string& front : tags)
            EXPECT_EQ(sample.expected, Detected(front + sample.Content())) << front.size();
    }
}

TEST(SamplesTest, ALiveSourceIsJudgedFromWhereItStandsAndLosesNothing) {
    for (const Sample& sample : Samples()) {
        SCOPED_TRACE(sample.path.string());
        const std::string content = "RIFF behind" + sample.Content() + std::string(70'000, '\x01');
        CBytesStream stream(content, Kind::kLive, 11);
        const std::wstring answer = FirstOf(MimeTypeDictionary()->Detect(&stream));
        // What decides may lie beyond what a live source shows.
        EXPECT_TRUE(answer == kNothing || FamilyOf(answer) == FamilyOf(sample.expected)) << Narrow(answer);
        EXPECT_EQ(11u, stream.Position());
        EXPECT_EQ(0, stream.RefusedSeeks());
        EXPECT_GE(65'536u, stream.BytesRead());
    }
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
