// The names of MIME types and file name extensions.
#include "filter/MimeTypeTable.h"
#include "tests/metadata/MetadataTest.h"

#include <algorithm>
#include <sstream>

namespace {

IMimeTypeDictionary& Names() {
    return *MimeTypeDictionary();
}

// A type's names between two semicolons, the preferred one first.
constexpr wchar_t kNames[] =
    L"audio/mpeg audio/mp3 audio/x-mp3 audio/x-mpeg audio/x-mpg audio/mpeg3 audio/x-mpeg-3 audio/mpa;"
    L"audio/mp2 audio/x-mp2;audio/mp1 audio/x-mp1;audio/x-aac audio/aac audio/aacp audio/mp4a-latm;"
    L"audio/x-ac3 audio/ac3 audio/eac3;audio/x-dts audio/vnd.dts audio/dts audio/vnd.dts.hd audio/x-dtshd;"
    L"audio/wav audio/x-wav audio/vnd.wave audio/wave;audio/aiff audio/x-aiff audio/x-aifc;"
    L"audio/midi audio/x-midi audio/mid audio/x-mid audio/sp-midi;"
    L"audio/ogg audio/x-ogg audio/vorbis audio/opus audio/speex audio/x-vorbis+ogg;"
    L"video/ogg video/x-ogg video/theora video/x-ogm;application/ogg application/x-ogg;"
    L"video/avi video/x-msvideo video/msvideo video/vnd.avi video/x-avi;video/mp4 video/x-m4v;video/mp4v-es;"
    L"audio/mp4 audio/x-m4a audio/m4a audio/x-mp4a audio/x-m4b;video/quicktime video/x-quicktime;"
    L"audio/quicktime audio/x-quicktime;video/x-matroska video/matroska video/webm;"
    L"audio/x-matroska audio/matroska audio/webm;audio/x-pn-realaudio audio/vnd.rn-realaudio audio/x-realaudio;"
    L"video/x-pn-realmedia application/vnd.rn-realmedia video/vnd.rn-realvideo;audio/x-ms-wma audio/wma;"
    L"video/x-ms-asf application/vnd.ms-asf video/x-ms-wm;video/mp2t video/mpegts;video/mpeg2 video/x-mpeg2;"
    L"video/mpeg video/x-mpeg video/mpeg-system video/x-mpeg-system;video/x-dv video/dv;audio/basic audio/x-au;"
    L"video/x-motion-jpeg video/x-mjpeg;audio/x-atrac3 audio/atrac3";

std::vector<Types> Rows() {
    std::vector<Types> rows;
    std::wistringstream all(kNames);
    for (std::wstring row; std::getline(all, row, L';');) {
        std::wistringstream names(row);
        for (rows.emplace_back(); std::getline(names, row, L' ');)
            rows.back().push_back(row);
    }
    return rows;
}

TEST(NamesTest, NamesOfOneTypeLeadToEachOtherAndThoseOfTwoNever) {
    const std::vector<Types> rows = Rows();
    for (const Types& row : rows) {
        for (const std::wstring& name : row) {
            EXPECT_TRUE(Names().IsMedia(name.c_str())) << name;
            EXPECT_STREQ(row[0].c_str(), Names().CanonicalName(name.c_str()));
            EXPECT_EQ(row[0], FirstOf(Names().Aliases(name.c_str())));
            const Types aliases = Take(Names().Aliases(name.c_str())).value_or(Types());
            EXPECT_TRUE(std::ranges::is_permutation(row, aliases)) << name;
            for (const Types& other : rows) {
                for (const std::wstring& candidate : other)
                    EXPECT_EQ(&row == &other, Names().Matches(name.c_str(), candidate.c_str())) << name << candidate;
            }
        }
    }
}

TEST(NamesTest, CaseParametersAndBlanksDoNotCount) {
    for (const wchar_t* const name :
         {L"AUDIO/X-MP3", L" audio/mp3 ", L"audio/mp3;rate=8", L"Audio/mp3 ; a=\"b;c\"", L"\taudio / mp3\r\n"}) {
        EXPECT_TRUE(Names().Matches(L"audio/mpeg", name) && Names().Matches(name, L"audio/mpeg")) << name;
        EXPECT_STREQ(L"audio/mpeg", Names().CanonicalName(name));
        EXPECT_STREQ(L".mp3", Names().PreferredExtension(name));
    }
    for (const wchar_t* const name : {L"audio/mpeg4", L"audio/mpe", L"audio", L"/mpeg", L"", L";audio/mpeg"})
        EXPECT_FALSE(Names().Matches(L"audio/mpeg", name)) << name;
}

TEST(NamesTest, TypesThatAreNotKnownAreThemselvesOnly) {
    EXPECT_TRUE(Names().Matches(L"text/plain", L"Text/Plain; charset=utf-8"));
    EXPECT_FALSE(Names().Matches(L"text/plain", L"text/html"));
    for (const wchar_t* const name : {L"text/plain", L"audio/flac", L"", L"mpeg"}) {
        EXPECT_FALSE(Names().CanonicalName(name) || Names().Aliases(name) || Names().PreferredExtension(name)) << name;
        EXPECT_EQ(name == std::wstring(L"audio/flac"), Names().IsMedia(name)) << name;
    }
    for (const wchar_t* const name : {L"image/jpeg", L"application/octet-stream", L"audiox/y", L"audio"})
        EXPECT_FALSE(Names().IsMedia(name)) << name;
}

TEST(NamesTest, ExtensionsLeadToTypesWithOrWithoutDotInAnyCase) {
    const std::pair<const wchar_t*, const wchar_t*> kExtensions[] = {
        {L"mp3", L"audio/mpeg"}, {L".Wav", L"audio/wav"}, {L"ogg", L"audio/ogg"},  {L".mkv", L"video/x-matroska"},
        {L"MP4", L"video/mp4"},  {L".m4a", L"audio/mp4"}, {L"avi", L"video/avi"},  {L".mov", L"video/quicktime"},
        {L"MPG", L"video/mpeg"}, {L".ts", L"video/mp2t"}, {L"mid", L"audio/midi"}, {L".DVR-MS", L"video/x-ms-dvr"},
    };
    for (const auto& [extension, type] : kExtensions)
        EXPECT_EQ(type, FirstOf(Names().FromExtension(extension))) << extension;
    for (const wchar_t* const extension : {L"", L".", L"txt", L"mp", L"mp33", L"..mp3", L"flac", L"song.mp3"})
        EXPECT_EQ(nullptr, Names().FromExtension(extension)) << extension;
}

TEST(NamesTest, EveryTypeOfTheFiltersTableIsKnownAndItsExtensionLeadsBackToIt) {
    const Types known = Take(Names().KnownTypes()).value_or(Types());
    for (const MimeTypeRow& row : MimeTypeTable()) {
        const wchar_t* const name = Names().CanonicalName(row.mime);
        ASSERT_NE(nullptr, name) << row.mime;
        EXPECT_EQ(1, std::ranges::count(known, name)) << row.mime;
        const wchar_t* const extension = Names().PreferredExtension(row.mime);
        ASSERT_TRUE(extension && *extension == L'.') << row.mime;
        const Types types = Take(Names().FromExtension(extension)).value_or(Types());
        EXPECT_EQ(1, std::ranges::count(types, name)) << row.mime << extension;
    }
}

TEST(NamesTest, NullIsNoName) {
    EXPECT_FALSE(Names().FromExtension(nullptr) || Names().PreferredExtension(nullptr));
    EXPECT_FALSE(Names().Aliases(nullptr) || Names().CanonicalName(nullptr) || Names().IsMedia(nullptr));
    EXPECT_FALSE(Names().Matches(nullptr, L"audio/mpeg") || Names().Matches(L"audio/mpeg", nullptr));
}

}  // namespace
