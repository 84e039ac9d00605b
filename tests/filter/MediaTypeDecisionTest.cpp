// Which media types the pin offers for a content, with every kind of metadata library beside the filter.
#include "framework/com/CTaskMem.h"
#include "sdk/TvMetadata.h"
#include "tests/filter/CFakeMetadataService.h"
#include "tests/filter/CFilterWithLibrary.h"
#include "tests/filter/CScriptedDictionary.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

#include <uuids.h>

#include <cstring>
#include <sstream>
#include <thread>
#include <tuple>

using Microsoft::WRL::ComPtr;
using Types = CScriptedDictionary::Types;

namespace {

constexpr char kNothingKnown[] = "!";

struct MediaTypeDecisionTest : ::testing::Test {
    ~MediaTypeDecisionTest() override { EXPECT_EQ(0, dictionary.LiveLists()) << "every list is given back"; }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream content{"0123456789"};
    CScriptedDictionary dictionary;
};

TEST_F(MediaTypeDecisionTest, EachTypeOfficiallyNamedOffersItsSubtypesInTableOrder) {
    const struct {
        const char* offers;
        const char* mimeTypes;
    } cases[] = {
        {"M", "audio/mp1 audio/mp2 audio/mpeg audio/x-aac"},
        {"C", "audio/x-ac3"},
        {"O", "audio/ogg video/x-ogg video/ogg application/x-ogg application/ogg"},
        {"OO", "audio/x-ogg"},
        {"W", "audio/wav"},
        {"I", "audio/aiff"},
        {"D", "audio/midi"},
        {"A", "audio/avi video/avi"},
        {"S", "video/mp1s"},
        {"SV0", "video/mpeg"},
        {"PT", "video/mpeg2"},
        {"T", "video/mp2t"},
        {"P", "video/mp2p"},
        {"00", "audio/x-atrac3 audio/x-dts"},
        {"0",
         "audio/mp4 audio/quicktime audio/x-quicktime audio/x-pn-realaudio audio/x-ms-wma audio/basic audio/lpcm "
         "audio/l16 audio/x-matroska video/mp4v-es video/mp4 video/x-pn-realmedia video/x-ms-wmv video/x-ms-asf "
         "video/x-ms-dvr video/x-dv video/x-motion-jpeg video/quicktime video/x-quicktime video/x-matroska"},
    };
    const CFilterWithLibrary filter(Library::WithExport);
    size_t rows = 0;
    for (const auto& c : cases) {
        std::istringstream mimeTypes(c.mimeTypes);
        for (std::string mime; mimeTypes >> mime;) {
            SCOPED_TRACE(mime);
            dictionary.types = Types{std::wstring(mime.begin(), mime.end())};
            EXPECT_EQ(S_OK, filter.Open(&content));
            EXPECT_EQ(c.offers, filter.Offers());
            EXPECT_EQ(std::string(c.offers).back(), filter.CurrentType()) << "the last match";
            rows += std::string(c.offers).size();
        }
    }
    EXPECT_EQ(49u, rows) << "the table has no others";
}

TEST_F(MediaTypeDecisionTest, CandidatesOfferInTheirOrderWhateverTheyContain) {
    const struct {
        const char* name;
        std::optional<Types> types;
        const char* offers;
    } cases[] = {
        {"several", Types{L"video/mpeg", L"audio/wav", L"audio/x-ogg"}, "SV0WOO"},
        {"the same twice", Types{L"audio/wav", L"audio/wav"}, "WW"},
        {"capitals", Types{L"VIDEO/Mpeg"}, "SV0"},
        {"null and empty items", Types{std::nullopt, L"", L"audio/wav", std::nullopt, L"", L"video/avi"}, "WA"},
        {"unknown ones between known ones", Types{L"text/plain", L"audio/wav", L"x"}, "W"},
        {"parameters, blanks and beginnings", Types{L"audio/wav;x=1", L" audio/wav", L"audio/wa"}, kNothingKnown},
        {"text of any length", Types{std::wstring(100'000, L'a'), L"audio/wav"}, "W"},
        {"only unknown ones", Types{L"text/plain"}, kNothingKnown},
        {"only null and empty items", Types{std::nullopt, L""}, kNothingKnown},
        {"an empty list", Types{}, kNothingKnown},
        {"no list", std::nullopt, kNothingKnown},
    };
    const CFilterWithLibrary filter(Library::WithExport);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        dictionary.types = c.types;
        EXPECT_EQ(S_OK, filter.Open(&content));
        EXPECT_EQ(c.offers, filter.Offers()) << "nothing of the content before is left";
    }
    EXPECT_EQ(static_cast<int>(std::size(cases)), dictionary.Detections()) << "each content is asked for once";
}

TEST_F(MediaTypeDecisionTest, AliasesOfTheDictionaryMatchRowsToo) {
    const struct {
        const char* name;
        Types types;
        std::pair<std::wstring, std::wstring> alias;
        const char* offers;
    } cases[] = {
        {"another name", {L"audio/x-wav"}, {L"audio/wav", L"audio/x-wav"}, "W"},
        {"another name of a type with several rows", {L"video/x-mpeg"}, {L"video/mpeg", L"video/x-mpeg"}, "SV0"},
        {"an alias beside the name itself, in table order", {L"video/avi"}, {L"audio/wav", L"video/avi"}, "WA"},
        {"a row that both name and alias match", {L"audio/wav"}, {L"audio/wav", L"audio/wav"}, "W"},
        {"the wrong way round", {L"audio/wav"}, {L"x", L"y"}, "W"},
        {"an empty candidate isn't asked about", {L""}, {L"*", L""}, kNothingKnown},
        {"every row",
         {L"any"},
         {L"*", L"any"},
         "MMMMCOWIDA"
         "000000000000"
         "OO0ASSV0PTTP"
         "0000000000"
         "OO0OO"},
    };
    const CFilterWithLibrary filter(Library::WithExport);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        dictionary.types = c.types;
        dictionary.alias = c.alias;
        EXPECT_EQ(S_OK, filter.Open(&content));
        EXPECT_EQ(c.offers, filter.Offers());
    }
}

TEST_F(MediaTypeDecisionTest, DictionaryReadsTheContentFromItsStartThroughTheBuffer) {
    const CFilterWithLibrary filter(Library::WithExport);
    ASSERT_EQ(S_OK, content.Seek({.QuadPart = 7}, STREAM_SEEK_SET, nullptr));
    std::string seen;
    dictionary.types = Types{L"audio/wav"};
    dictionary.onDetect = [&](IStream* stream) {
        EXPECT_NE(&content, stream);
        char bytes[4]{};
        ULONG read = 0;
        EXPECT_EQ(S_OK, stream->Read(bytes, sizeof bytes, &read));
        seen.assign(bytes, read);
    };
    EXPECT_EQ(S_OK, filter.Open(&content));
    EXPECT_EQ("0123", seen);
    EXPECT_EQ(0x20000u, content.LastReadSize());
    EXPECT_EQ(1, content.Calls(CScriptedStream::kRead));
}

TEST_F(MediaTypeDecisionTest, WithoutAnyLibraryNothingIsAskedAndNothingIsKnown) {
    const CLoaderSearchesOnly systemOnly;
    CFakeMetadataService service;
    for (const Library library : {Library::None, Library::Damaged}) {
        SCOPED_TRACE(static_cast<int>(library));
        const CFilterWithLibrary filter(library);
        EXPECT_EQ(S_OK, filter.Open(&content));
        EXPECT_EQ(kNothingKnown, filter.Offers());
        EXPECT_EQ('0', filter.CurrentType()) << "a new filter's";
    }
    EXPECT_EQ(std::vector<std::wstring>{}, service.Events());
    EXPECT_EQ(0, dictionary.Detections());
}

TEST(MediaTypeDecisionWithoutDictionaryTest, DataServiceIsAskedWhereTheLibraryHasNone) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CScriptedStream content("0123456789");
    CFakeMetadataService service;
    const struct {
        const wchar_t* mime;
        const char* offers;
    } cases[] = {
        {L"VIDEO/MPEG", "SV0"}, {L"audio/x-ogg", "OO"},         {L"audio/mp4", "0"},
        {L"", kNothingKnown},   {L"text/plain", kNothingKnown},
    };
    for (const Library library : {Library::WithExport, Library::Foreign}) {
        const CFilterWithLibrary filter(library);
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::PrintToString(c.mime));
            service.getValue = CFakeMetadataService::TextValue(c.mime);
            EXPECT_EQ(S_OK, filter.Open(&content));
            EXPECT_EQ(c.offers, filter.Offers());
            EXPECT_NE(nullptr, service.Extracted());
            EXPECT_NE(&content, service.Extracted()) << "the buffered stream is read";
        }
        service.fault = {{L"Extract", CFakeMetadataService::Fault::Fail}};
        EXPECT_EQ(S_OK, filter.Open(&content)) << "what the service fails at is no failure of the load";
        EXPECT_EQ(kNothingKnown, filter.Offers());
        service.fault.reset();
        EXPECT_EQ(0, service.LiveObjects());
    }
}

TEST_F(MediaTypeDecisionTest, DictionaryIsAskedInsteadOfTheDataService) {
    CFakeMetadataService service;
    const CFilterWithLibrary filter(Library::WithExport);
    EXPECT_EQ(S_OK, filter.Open(&content));
    EXPECT_EQ(kNothingKnown, filter.Offers()) << "also when the dictionary knows nothing";
    EXPECT_EQ(std::vector<std::wstring>{}, service.Events());
}

TEST_F(MediaTypeDecisionTest, CallersTypeIsOfferedAsAStreamAndReportedUnchanged) {
    const CFilterWithLibrary filter(Library::WithExport);
    dictionary.types = Types{L"audio/wav"};
    BYTE format[]{1, 2, 3, 4, 5};
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Video;
    type.subtype = MEDIASUBTYPE_Avi;
    type.bFixedSizeSamples = TRUE;
    type.bTemporalCompression = TRUE;
    type.lSampleSize = 188;
    type.formattype = FORMAT_WaveFormatEx;
    type.cbFormat = sizeof format;
    type.pbFormat = format;
    EXPECT_EQ(S_OK, filter.Open(&content, &type));
    EXPECT_EQ("A", filter.Offers());
    EXPECT_EQ(0, dictionary.Detections()) << "nothing is looked for";

    for (int i = 0; i < 2; ++i) {
        AM_MEDIA_TYPE current{};
        CTaskMem<wchar_t> name;
        ASSERT_EQ(S_OK, filter.host.As<IFileSourceFilter>()->GetCurFile(name.Put(), &current));
        const CTaskMem<BYTE> ownFormat(current.pbFormat);
        ASSERT_NE(nullptr, ownFormat.Get());
        EXPECT_NE(format, ownFormat.Get());
        EXPECT_EQ(0, std::memcmp(format, ownFormat.Get(), sizeof format));
        const auto rest = [](const AM_MEDIA_TYPE& of) {
            return std::tie(of.majortype, of.subtype, of.bFixedSizeSamples, of.bTemporalCompression, of.lSampleSize,
                            of.formattype, of.pUnk, of.cbFormat);
        };
        EXPECT_TRUE(rest(type) == rest(current));
        // Content of no known type keeps it, and only the offers change.
        dictionary.types = std::nullopt;
        EXPECT_EQ(S_OK, filter.Open(&content));
        EXPECT_EQ(kNothingKnown, filter.Offers());
    }
    type.majortype = MEDIATYPE_Stream;
    type.subtype = GUID_NULL;
    EXPECT_EQ(S_OK, filter.Open(&content, &type));
    EXPECT_EQ("0", filter.Offers()) << "no fallback for a type of the caller's";
}

TEST_F(MediaTypeDecisionTest, ContentOfNoKnownTypeKeepsTheTypeOfTheOneBefore) {
    const CFilterWithLibrary filter(Library::WithExport);
    dictionary.types = Types{L"audio/wav"};
    EXPECT_EQ(S_OK, filter.Open(&content));
    EXPECT_EQ('W', filter.CurrentType());
    dictionary.types = Types{L"text/plain"};
    EXPECT_EQ(S_OK, filter.Open(&content));
    EXPECT_EQ('W', filter.CurrentType());
    EXPECT_EQ(kNothingKnown, filter.Offers());
}

TEST_F(MediaTypeDecisionTest, LibraryBesideTheFilterComesBeforeTheLoadersOwn) {
    dictionary.types = Types{L"audio/wav"};
    CTempFolder elsewhere;
    PutLibrary(elsewhere, Library::WithExport);
    const CLoaderSearchesOnly searches(elsewhere.Path());
    const struct {
        const char* name;
        Library beside;
        const char* offers;
    } cases[] = {
        {"beside", Library::WithExport, "W"},
        {"beside, though another would know more", Library::Foreign, kNothingKnown},
        {"only where the loader looks", Library::None, "W"},
        {"damaged beside, sound where the loader looks", Library::Damaged, "W"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const CFilterWithLibrary filter(c.beside);
        EXPECT_EQ(S_OK, filter.Open(&content));
        EXPECT_EQ(c.offers, filter.Offers());
    }
}

TEST_F(MediaTypeDecisionTest, LibraryIsFoundBesideAFilterInAnyFolder) {
    const CLoaderSearchesOnly systemOnly;
    dictionary.types = Types{L"audio/wav"};
    const std::wstring name(120, L'n');
    for (const std::wstring& folder :
         {std::wstring(L"with blanks, and dots.dll"), std::wstring(L"\u00E4\u03A9\u4E2D\U0001F600"),
          name + L"\\" + name + L"\\" + name + L"\\" + name + L"\\" + name}) {
        SCOPED_TRACE(testing::PrintToString(folder));
        const CFilterWithLibrary filter(Library::WithExport, folder);
        EXPECT_EQ(S_OK, filter.Open(&content));
        EXPECT_EQ("W", filter.Offers());
    }
}

TEST_F(MediaTypeDecisionTest, FiltersThatDecideAtOnceDontDisturbEachOther) {
    dictionary.types = Types{L"video/mpeg", L"audio/wav"};
    const CFilterWithLibrary filter(Library::WithExport);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            const CTestApartment own(COINIT_MULTITHREADED);
            CScriptedStream ownContent("own");
            ComPtr<IBaseFilter> other;
            ASSERT_EQ(S_OK, filter.host.Factory()->CreateInstance(nullptr, IID_PPV_ARGS(&other)));
            ComPtr<ITavelIStreamFileSource> source;
            ASSERT_EQ(S_OK, other.As(&source));
            for (int n = 0; n < 10; ++n) {
                EXPECT_EQ(S_OK, source->OpenStream(&ownContent, nullptr));
                ComPtr<IPin> pin;
                ASSERT_EQ(S_OK, other->FindPin(L"Output", &pin));
                ComPtr<IEnumMediaTypes> types;
                ASSERT_EQ(S_OK, pin->EnumMediaTypes(&types));
                EXPECT_EQ(S_OK, types->Skip(4));
                EXPECT_EQ(S_FALSE, types->Skip(1));
            }
        });
    }
    threads.clear();
    EXPECT_EQ(nullptr, ::GetModuleHandleW(kTvMetadataLibrary));
}

}  // namespace
