// Which media types the pin offers for a source's content, with every kind of MIME dictionary beside the filter.
#include "base/CTaskMem.h"
#include "baseclasses/CMediaType.h"
#include "sdk/TvMetadata.h"
#include "tests/filter/CFilterWithDictionary.h"
#include "tests/filter/CScriptedDictionary.h"
#include "tests/support/CFakeDataLayer.h"
#include "tests/support/FilterTest.h"
#include "tests/support/RandomBytes.h"

#include <iterator>
#include <set>
#include <sstream>

namespace {

using Types = CScriptedDictionary::Types;

constexpr wchar_t kFunction[] = L"CCustomFileSourceFilter::SetSourceFileStream";
constexpr char kNothingKnown[] = "!";

struct MediaTypeDecisionTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    Stream content{"0123456789"};
    CScriptedDictionary dictionary;
};

HRESULT DetectionResult(const CFilterHost& host) {
    HRESULT result = S_FALSE;
    const HRESULT hr = host.As<ITavelSourceOpenResult>()->GetDetectionResult(&result);
    EXPECT_EQ(result == E_UNEXPECTED ? E_UNEXPECTED : S_OK, hr);
    return result;
}

// Every MIME type of the table, once.
std::optional<Types> AllNames() {
    std::wistringstream names(
        L"audio/mp1 audio/mp2 audio/mpeg audio/x-aac audio/x-ac3 audio/x-ogg audio/wav audio/aiff audio/midi audio/avi "
        L"audio/mp4 audio/x-atrac3 audio/x-dts audio/quicktime audio/x-quicktime audio/x-pn-realaudio audio/x-ms-wma "
        L"audio/basic audio/lpcm audio/l16 audio/ogg audio/x-matroska video/avi video/mp1s video/mpeg video/mpeg2 "
        L"video/mp2t video/mp2p video/mp4v-es video/mp4 video/x-pn-realmedia video/x-ms-wmv video/x-ms-asf "
        L"video/x-ms-dvr video/x-dv video/x-motion-jpeg video/quicktime video/x-quicktime video/x-ogg video/ogg "
        L"video/x-matroska application/x-ogg application/ogg");
    return Types(std::istream_iterator<std::wstring, wchar_t>(names), {});
}

TEST_F(MediaTypeDecisionTest, CandidatesOfferInTheirOrderWhateverTheyContain) {
    const struct {
        const char* name;
        std::optional<Types> types;
        const char* offers;
        std::pair<std::wstring, std::wstring> alias = {};
    } cases[] = {
        {"all", AllNames(), "MMMMCOOWIDA000000000000O0ASSV0PTTP0000000000OO0OO"},
        {"several", Types{L"video/mpeg", L"audio/wav", L"audio/x-ogg"}, "SV0WOO"},
        {"the same twice", Types{L"audio/wav", L"audio/wav"}, "WW"},
        {"capitals", Types{L"VIDEO/Mpeg"}, "SV0"},
        {"null and empty items", Types{std::nullopt, L"", L"audio/wav", std::nullopt, L"", L"video/avi"}, "WA"},
        {"parameters, blanks and beginnings", Types{L"audio/wav;x=1", L" audio/wav", L"audio/wa"}, kNothingKnown},
        {"text of any length", Types{std::wstring(100'000, L'a'), L"audio/wav"}, "W"},
        {"an empty list", Types{}, kNothingKnown},
        {"no list", std::nullopt, kNothingKnown},
        {"another name", Types{L"x"}, "SV0", {L"video/mpeg", L"x"}},
        {"an alias beside the name itself", Types{L"video/avi"}, "WA", {L"audio/wav", L"video/avi"}},
        {"name and alias of one row", Types{L"audio/wav"}, "W", {L"audio/wav", L"audio/wav"}},
        {"an empty candidate isn't asked about", Types{L""}, kNothingKnown, {L"*", L""}},
        {"every row", Types{L"x"}, "MMMMCOWIDA000000000000OO0ASSV0PTTP0000000000OO0OO", {L"*", L"x"}},
    };
    const CFilterWithDictionary filter(DictionaryFile::WithExport);
    dictionary.onDetect = [&](IStream* stream) {
        char bytes[5]{};
        EXPECT_EQ(S_OK, stream->Read(bytes, 4, nullptr));
        EXPECT_STREQ("0123", bytes);
        EXPECT_EQ(0x20000u, content.LastReadSize()) << "it is read through the buffer";
    };
    for (const auto& row : cases) {
        EXPECT_EQ(S_OK, content.Seek({.QuadPart = 7}, STREAM_SEEK_SET, nullptr));
        dictionary.types = row.types;
        dictionary.alias = row.alias;
        EXPECT_EQ(row.offers, filter.Offers(&content)) << row.name;
        EXPECT_EQ(row.types ? S_OK : STG_E_READFAULT, DetectionResult(filter.host)) << row.name;
        if (*row.offers != '!') {
            EXPECT_EQ(std::string(row.offers).back(), filter.host.CurrentType()) << "the last match";
        }
    }
    EXPECT_EQ(static_cast<int>(std::size(cases)), dictionary.detections) << "each content is asked for once";
    AM_MEDIA_TYPE type{};
    EXPECT_EQ("0", filter.Offers(&content, &type));
    EXPECT_EQ(E_UNEXPECTED, DetectionResult(filter.host)) << "nobody looked at it";
}

TEST_F(MediaTypeDecisionTest, ASourceThatCannotBeSoughtLosesNothingToDetection) {
    const std::string contents = RandomBytes(1, 73 * 4096);
    dictionary.types = Types{L"audio/wav"};
    dictionary.onDetect = [](IStream* stream) {
        std::string head(0x10000, '.');
        EXPECT_HRESULT_SUCCEEDED(stream->Read(head.data(), 0x10000, nullptr));
        static_cast<void>(stream->Seek({.QuadPart = 200'000}, STREAM_SEEK_SET, nullptr));
        EXPECT_EQ(S_OK, stream->Seek({}, STREAM_SEEK_SET, nullptr));
    };
    const CFilterWithDictionary filter(DictionaryFile::WithExport);
    // Pieces smaller and larger than what is looked at, and than the read buffer.
    for (const Stream::Seeks seeks :
         {Stream::Seeks::None, Stream::Seeks::Claimed, Stream::Seeks::Onwards, Stream::Seeks::All})
        for (const ULONG piece : {100u, 66'000u, 0xFFFFFFFFu}) {
            SCOPED_TRACE(::testing::PrintToString(seeks) + " " + std::to_string(piece));
            content.SetContents(contents);
            content.Rewind();
            content.ReportSize(seeks == Stream::Seeks::Claimed ? ~0ull : contents.size());
            content.LimitTransfers(piece);
            content.RefuseSeeks(seeks);
            ASSERT_HRESULT_SUCCEEDED(filter.host.Open(&content));
            EXPECT_EQ("W", filter.host.Offers());
            const auto reader = filter.host.Reader();
            for (size_t at = 0; at < contents.size(); at += 4096)
                ASSERT_EQ(Got(S_OK, contents.substr(at, 4096)),
                          SyncRead(*reader.Get(), static_cast<LONGLONG>(at), 4096));
        }
}

TEST(MediaTypeDictionaryTest, TheDataServiceIsAskedOnlyWhereADllHasNoDictionary) {
    CTempFolder current;  // a stranger's dictionary there doesn't count
    PutDictionary(current, DictionaryFile::WithExport);
    const CCurrentFolder isCurrent(current.Path());
    const struct {
        DictionaryFile file;
        bool hasDictionary;
        std::string offers;
        Log lines;
    } cases[] = {
        {DictionaryFile::None, false, kNothingKnown, {Line(2, kFunction, L"TvMetadata.dll was not found")}},
        {DictionaryFile::Damaged, false, kNothingKnown, {Line(2, kFunction, L"TvMetadata.dll was not found")}},
        {DictionaryFile::Foreign,
         false,
         "SV0",
         {Line(4, kFunction, L"Cannot get function pointer to GetMimeTypeDictionary")}},
        {DictionaryFile::WithExport, false, "SV0", {}},
        {DictionaryFile::WithExport, true, kNothingKnown, {}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(static_cast<int>(row.file));
        const Log lines = LinesOf([&] {
            Stream content("0123456789");
            CFakeDataLayer layer;
            layer.value = L"video/mpeg";
            std::optional<CScriptedDictionary> dictionary;
            if (row.hasDictionary)
                dictionary.emplace();
            const CFilterWithDictionary filter(row.file);
            EXPECT_EQ(row.offers, filter.Offers(&content));
            EXPECT_EQ(row.offers == "SV0", layer.extracted != nullptr);
            EXPECT_NE(&content, layer.extracted) << "the buffered stream is read";
        });
        Log expected = {Line(1, L"CCustomFileSourceFilter::OpenStream", L"Loading file : scripted")};
        expected.insert(expected.end(), row.lines.begin(), row.lines.end());
        expected.push_back(kStopped);
        EXPECT_EQ(expected, lines);
    }
}

TEST(MediaTypeDictionaryTest, EveryStepOfALoadAndOfAReadIsTimed) {
    const CPublishedLogger logger;
    OnNewThread([] {
        const CTempFile file("0123456789");
        CFakeDataLayer layer;
        CScriptedDictionary dictionary;
        for (const DictionaryFile beside : {DictionaryFile::WithExport, DictionaryFile::Foreign}) {
            const CFilterWithDictionary filter(beside);
            EXPECT_EQ(S_OK, filter.host.Load(file.Path()));
            EXPECT_EQ(kNothingKnown, filter.host.Offers());
            const auto reader = filter.host.Reader();
            CTestSample sample(4);
            EXPECT_EQ(S_OK, reader->SyncReadAligned(&sample));
            for (int i = 0; i < 2000; ++i)  // reports come after so many calls
                EXPECT_EQ("0123", SyncRead(*reader.Get(), 0, 4).second);
            LONGLONG total = 0;
            EXPECT_EQ(S_OK, reader->Length(&total, &total));
        }
    });
    const std::wstring filter = L"CCustomFileSourceFilter::", pin = L"CCustomFileSourcePin::";
    std::set<std::wstring> timed;
    for (const LoggedProfile& profile : logger->Profiles())
        timed.insert(profile.category + L" " + profile.file + L" " + profile.function + L" " + profile.message);
    std::set<std::wstring> expected;
    for (const std::wstring& scope :
         {filter + L"Load ", filter + L"SetSourceFileStream ", filter + L"SetSourceFileStream Loading TvMetaData.dll",
          filter + L"SetSourceFileStream Getting Mimetype Dictionary",
          filter + L"SetSourceFileStream Extracting MimeType via MimeTypeDictionary",
          filter + L"SetSourceFileStream Extracting MimeType via TKDataServices", pin + L"SetSourceFileStream ",
          pin + L"GetMediaType ", pin + L"Length ", pin + L"SyncReadAligned ", pin + L"SyncRead ",
          pin + L"SyncRead Syncread seeking", pin + L"SyncRead Syncread reading"})
        expected.insert(L"PROFILE CustomFileSource " + scope);
    EXPECT_EQ(expected, timed);
}

// Detection may take seconds. An enumeration meanwhile must not give the former types, nor a list that ends without an
// error.
TEST_F(MediaTypeDecisionTest, EnumeratorsAreToldOfEachChangeOfTheTypes) {
    const CFilterWithDictionary filter(DictionaryFile::WithExport);
    EXPECT_EQ("W", filter.Offers(&content, &kWave));
    ComPtr<IEnumMediaTypes> types;
    ASSERT_EQ(S_OK, filter.host.Pin()->EnumMediaTypes(&types));
    AM_MEDIA_TYPE* type = nullptr;
    dictionary.types = Types{L"video/avi"};
    dictionary.onDetect = [&](IStream*) {
        EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, types->Next(1, &type, nullptr));
        EXPECT_EQ(S_OK, types->Reset());
        EXPECT_EQ(S_FALSE, types->Next(1, &type, nullptr)) << "nothing is offered now";
    };
    EXPECT_EQ("A", filter.Offers(&content));
    EXPECT_EQ(VFW_E_ENUM_OUT_OF_SYNC, types->Next(1, &type, nullptr));
    EXPECT_EQ(1, dictionary.detections);
}

TEST_F(MediaTypeDecisionTest, TheCallersTypeIsReportedUnchanged) {
    const CFilterWithDictionary filter(DictionaryFile::WithExport);
    dictionary.types = std::nullopt;
    BYTE format[]{1, 2, 3, 4, 5};
    AM_MEDIA_TYPE type{MEDIATYPE_Video,     MEDIASUBTYPE_Avi, TRUE,          TRUE,  188,
                       FORMAT_WaveFormatEx, nullptr,          sizeof format, format};
    EXPECT_EQ("A", filter.Offers(&content, &type));
    EXPECT_EQ(0, dictionary.detections) << "nothing is looked for";
    for (int i = 0; i < 2; ++i) {
        CMediaType current;
        base::CTaskMem<wchar_t> name;
        ASSERT_EQ(S_OK, filter.host.As<IFileSourceFilter>()->GetCurFile(name.Put(), &current));
        EXPECT_TRUE(CMediaType(type) == current);
        EXPECT_EQ(188u, current.lSampleSize);
        current.pbFormat[0] = 9;  // a copy of the caller's own
        EXPECT_EQ(kNothingKnown, filter.Offers(&content)) << "of no known type: only the offers change";
    }
    type.majortype = MEDIATYPE_Stream;
    type.subtype = GUID_NULL;
    EXPECT_EQ("0", filter.Offers(&content, &type)) << "no fallback for a type of the caller's";
    dictionary.types = Types{L"audio/wav"};
    EXPECT_EQ("W", filter.Offers(&content));
    EXPECT_EQ('W', filter.host.CurrentType());
}

TEST_F(MediaTypeDecisionTest, TheDictionaryBesideTheFilterComesFirst) {
    dictionary.types = Types{L"audio/wav"};
    CTempFolder elsewhere;
    PutDictionary(elsewhere, DictionaryFile::WithExport);
    const DLL_DIRECTORY_COOKIE searched = ::AddDllDirectory(elsewhere.Path().c_str());
    for (const DictionaryFile beside : {DictionaryFile::WithExport, DictionaryFile::None, DictionaryFile::Damaged})
        EXPECT_EQ("W", CFilterWithDictionary(beside).Offers(&content)) << static_cast<int>(beside);
    const std::wstring name(120, L'n');
    const std::vector<std::wstring> folders[] = {{L"blanks, dots.dll \u00E4\u4E2D\U0001F600"}, {name, name, name}};
    for (const auto& inner : folders)
        EXPECT_EQ(kNothingKnown, CFilterWithDictionary(DictionaryFile::Foreign, inner).Offers(&content));
    ::RemoveDllDirectory(searched);
}

}  // namespace
