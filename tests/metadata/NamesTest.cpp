// The names of MIME types and file name extensions.
#include "filter/MimeTypeTable.h"
#include "tests/metadata/MetadataTest.h"

#include <algorithm>

using namespace metadata;

namespace {

IMimeTypeDictionary& Names() {
    return *MimeTypeDictionary();
}

TEST(NamesTest, NamesLeadToEachOtherExactlyIfTheyAreOfOneType) {
    // The preferred one first, and the last one last.
    const Types rows[] = {
        {L"audio/mpeg", L"audio/mp3", L"audio/x-mp3", L"audio/x-mpeg", L"audio/mpa"},
        {L"audio/ogg", L"audio/vorbis", L"audio/opus", L"audio/x-vorbis+ogg"},
        {L"video/ogg", L"video/x-ogg", L"video/theora", L"video/x-ogm"},
        {L"audio/mp4", L"audio/x-m4a", L"audio/m4a", L"audio/x-m4b"},
        {L"video/mp4", L"video/x-m4v"},
        {L"video/mp4v-es"},
        {L"audio/x-matroska", L"audio/matroska", L"audio/webm"},
        {L"application/ogg", L"application/x-ogg"},
    };
    for (const Types& row : rows) {
        for (const std::wstring& name : row) {
            EXPECT_TRUE(Names().IsMedia(name.c_str())) << name;
            EXPECT_STREQ(row[0].c_str(), Names().CanonicalName(name.c_str()));
            const Types aliases = Take(Names().Aliases(name.c_str())).value_or(Types(1));
            EXPECT_EQ(std::pair(row.front(), row.back()), std::pair(aliases.front(), aliases.back()));
            EXPECT_EQ(1, std::ranges::count(aliases, name)) << name;
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
    EXPECT_TRUE(Names().Matches(L"text/plain", L"Text/Plain; charset=utf-8"));
    EXPECT_FALSE(Names().Matches(L"text/plain", L"text/html"));
    const wchar_t* const unknown[] = {L"audio/mpeg4", L"audio/mpe", L"audio", L"/mpeg",      L"",     L"text/plain",
                                      L"image/jpeg",  L"audiox/y",  L"mpeg",  L"audio/flac", nullptr, L";audio/mpeg"};
    for (const wchar_t* const name : unknown) {
        const std::wstring shown = name ? name : L"null";
        EXPECT_FALSE(Names().Matches(L"audio/mpeg", name) || Names().Matches(name, L"audio/mpeg")) << shown;
        EXPECT_FALSE(Names().CanonicalName(name) || Names().Aliases(name) || Names().PreferredExtension(name)) << shown;
        EXPECT_EQ(shown.starts_with(L"audio/"), Names().IsMedia(name)) << shown;
    }
}

TEST(NamesTest, ExtensionsLeadToTypesWithOrWithoutDotInAnyCase) {
    const std::pair<const wchar_t*, const wchar_t*> kExtensions[] = {
        {L"mp3", L"audio/mpeg"}, {L".Wav", L"audio/wav"}, {L"ogg", L"audio/ogg"},  {L"MP4", L"video/mp4"},
        {L".m4a", L"audio/mp4"}, {L"MPG", L"video/mpeg"}, {L".ts", L"video/mp2t"}, {L".DVR-MS", L"video/x-ms-dvr"},
    };
    for (const auto& [extension, type] : kExtensions)
        EXPECT_EQ(type, FirstOf(Names().FromExtension(extension))) << extension;
    for (const wchar_t* const extension : {L"", L".", L"txt", L"mp", L"mp33", L"..mp3", L"flac", L"song.mp3"})
        EXPECT_EQ(nullptr, Names().FromExtension(extension)) << extension;
    EXPECT_EQ(nullptr, Names().FromExtension(nullptr));
}

TEST(NamesTest, TheExtensionOfEachTypeInTheFiltersTableLeadsBackToIt) {
    const Types known = Take(Names().KnownTypes()).value_or(Types());
    for (const filter::MimeTypeRow& row : filter::MimeTypeTable()) {
        const wchar_t* const name = Names().CanonicalName(row.mime);
        ASSERT_NE(nullptr, name) << row.mime;
        EXPECT_EQ(1, std::ranges::count(known, name)) << row.mime;
        const wchar_t* const extension = Names().PreferredExtension(row.mime);
        ASSERT_TRUE(extension && *extension == L'.') << row.mime;
        const Types types = Take(Names().FromExtension(extension)).value_or(Types());
        EXPECT_EQ(1, std::ranges::count(types, name)) << row.mime << extension;
    }
}

}  // namespace
