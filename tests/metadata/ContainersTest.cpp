// Containers put together here: sound told from pictures, lists of tracks that are cut off, other formats' marks, and
// headers that lead their reader round in circles or on for ever.
#include "metadata/CMimeTypeDictionary.h"
#include "tests/metadata/MetadataTest.h"

#include <utility>

namespace {

using namespace std::string_literals;

std::string Big(unsigned long long value, int bytes) {
    std::string text;
    while (bytes-- > 0)
        text += static_cast<char>(value >> 8 * bytes);
    return text;
}
std::string Little(unsigned long long value, int bytes) {
    const std::string text = Big(value, bytes);
    return {text.rbegin(), text.rend()};
}

std::string Repeat(size_t times, const std::string& text) {
    std::string all;
    for (; times > 0; --times)
        all += text;
    return all;
}

struct Row {
    const wchar_t* first;
    const wchar_t* second;  // of the answer; null: there is none
    std::string content;
};

void Check(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        CScriptedStream source(row.content);
        Types expected;
        if (row.first != kNothing)
            expected.emplace_back(row.first);
        if (row.second)
            expected.emplace_back(row.second);
        EXPECT_EQ(expected, Take(MimeTypeDictionary()->Detect(&source))) << "row " << &row - rows.data();
    }
}

// MP4

std::string Box(const std::string& name, const std::string& content, size_t missing = 0) {
    return Big(content.size() + missing + 8, 4) + name + content;
}
std::string Track(const std::string& handler) {
    return Box("trak", Box("tkhd", Repeat(20, "head")) +
                           Box("mdia", Box("hdlr", std::string(8, '\0') + handler + "\0\0\0\0name"s)));
}
const std::string kBrand = Box("ftyp", "isom\0\0\2\0isommp41"s);
const std::string kMovieHeader = Box("mvhd", std::string(100, '\1'));

TEST(ContainersTest, BoxesTellSoundFromPictures) {
    const std::string sound = kMovieHeader + Track("soun");
    const std::string both = sound + Track("vide");
    const std::string media = Box("mdat", Repeat(300, "media"));
    const auto brand = [](const std::string& name, const std::string& compatible = "") {
        return Box("ftyp", name + "\0\0\0\1"s + compatible);
    };
    constexpr const wchar_t* kVideo = L"video/mp4";
    constexpr const wchar_t* kAudio = L"audio/mp4";
    Check({
        {kAudio, nullptr, kBrand + Box("moov", sound) + media},
        {kVideo, nullptr, kBrand + Box("moov", both) + media},
        {kVideo, nullptr, kBrand + Box("moov", Track("vide") + sound) + media},
        {kVideo, nullptr, kBrand + Box("moov", Track("hint"))},
        // What is behind the end of the movie might have been a track of pictures.
        {kVideo, nullptr, kBrand + Box("moov", sound, 100)},
        {kVideo, nullptr, kBrand + Box("moov", sound, 1)},
        {kVideo, nullptr, kBrand + Box("moov", sound + "\0\0\0\4trak"s)},
        {kVideo, nullptr, kBrand + media},
        {kAudio, nullptr, kBrand + media + "junk behind" + Box("moov", sound)},
        {kAudio, nullptr, kBrand + media + std::string(60'000, 'j') + Box("moov", sound)},
        {kVideo, nullptr, kBrand + media + "junk moov junk" + Box("moov", Box("junk", "")) + Box("moof", "")},
        {kAudio, nullptr, kBrand + Box("mdat", std::string(300'000, 'm')) + Box("moov", sound)},
        {kAudio, nullptr,
         kBrand + Big(1, 4) + "mdat" + Big(100'016, 8) + std::string(100'000, 'm') + Box("moov", sound)},
        {kAudio, nullptr, brand("M4A ") + media},
        {kAudio, nullptr, brand("M4B ") + Box("moov", both)},
        {kVideo, nullptr, brand("M4A ") + Box("moov", Track("vide"))},
        {kVideo, nullptr, brand("3gp6") + media},
        {kVideo, nullptr, brand("3g2a") + media},
        {kVideo, nullptr, brand("what", "mp42") + media},
        {kNothing, nullptr, brand("what", "ever") + media},
        {kNothing, nullptr, brand("heic", "mif1") + Box("moov", both)},
        {kNothing, nullptr, brand("mp42", "mif1") + media},
        {kVideo, nullptr, brand("mp42", "mif1") + Box("moov", both)},
        {L"audio/quicktime", nullptr, brand("qt  ") + Box("moov", sound)},
        {L"audio/quicktime", nullptr, Box("moov", sound)},
        {L"video/quicktime", nullptr, Box("moov", both)},
        {L"video/quicktime", nullptr, Box("wide", "") + media},
        {L"video/quicktime", nullptr, Box("moov", Box("cmov", "packed"))},
        {kNothing, nullptr, Box("wide", "") + Box("free", "")},
        {kNothing, nullptr, media},
        {kVideo, nullptr, Box("moof", Box("mfhd", "\0\0\0\0\0\0\0\1"s)) + media},
        {kNothing, nullptr, Box("moof", Box("junk", "")) + media},
        {kNothing, nullptr, Box("abcd", kBrand) + Box("moov", both)},
    });
}

// Matroska

std::string Element(unsigned id, const std::string& content, size_t missing = 0) {
    const int idBytes = id > 0xFFFFFF ? 4 : id > 0xFFFF ? 3 : id > 0xFF ? 2 : 1;
    return Big(id, idBytes) + Big((content.size() + missing) | 0x10000000, 4) + content;
}
std::string Ebml(const std::string& type) {
    return Element(0x1A45DFA3, Element(0x4286, "\1") + Element(0x4282, type));
}
constexpr unsigned kSegment = 0x18538067, kTracks = 0x1654AE6B, kCluster = 0x1F43B675, kVoid = 0xEC;

std::string Tracks(std::initializer_list<int> types, size_t missing = 0) {
    std::string tracks;
    for (const int type : types)
        tracks += Element(0xAE, Element(0xD7, "\1") + Element(0x83, std::string(1, static_cast<char>(type))));
    return Element(kTracks, tracks, missing);
}

TEST(ContainersTest, TracksOfMatroskaTellSoundFromPictures) {
    constexpr const wchar_t* kVideo = L"video/x-matroska";
    constexpr const wchar_t* kAudio = L"audio/x-matroska";
    const std::string ebml = Ebml("matroska");
    const std::string cluster = Element(kCluster, Repeat(50, "media"));
    const auto seekTo = [](size_t position) {
        return Element(0x114D9B74,
                       Element(0x4DBB, Element(0x53AB, Big(kTracks, 4)) + Element(0x53AC, Big(position, 4))));
    };
    const size_t seekBytes = seekTo(0).size();
    Check({
        {kAudio, nullptr, ebml + Element(kSegment, Tracks({2}) + cluster)},
        {kAudio, nullptr, Ebml("webm") + Element(kSegment, Tracks({2, 2, 17}) + cluster)},
        {kVideo, nullptr, ebml + Element(kSegment, Tracks({2, 1}) + cluster)},
        {kVideo, nullptr, ebml + Element(kSegment, Tracks({3}) + cluster)},
        {kVideo, nullptr, ebml + Element(kSegment, Tracks({2}, 40), 40)},
        {kVideo, nullptr, ebml + Element(kSegment, Tracks({2}, 1), 1)},
        {kVideo, nullptr, ebml + Element(kSegment, Tracks({17}) + cluster)},
        {kVideo, nullptr, ebml + Element(kSegment, cluster + Tracks({2}))},
        {kAudio, nullptr,
         ebml + Element(kSegment, seekTo(seekBytes + cluster.size()) + cluster + Tracks({2}) + cluster)},
        {kAudio, nullptr,
         ebml + Element(kVoid, "fill") + Element(kSegment, Element(kVoid, "fill") + Tracks({2}) + cluster)},
        // A live writer knows no lengths; the next part of the segment ends the list.
        {kAudio, nullptr,
         ebml + "\x18\x53\x80\x67\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x16\x54\xAE\x6B\xFF" + Tracks({2}).substr(8) +
             cluster},
        {kNothing, nullptr, Ebml("matroskx") + Element(kSegment, Tracks({2}))},
        {kNothing, nullptr, Ebml("webmx") + Element(kSegment, Tracks({2}))},
        {kNothing, nullptr, ebml + cluster},
    });
}

// RIFF, ASF, RealMedia, Ogg

std::string Chunk(const std::string& name, const std::string& content, size_t missing = 0) {
    return name + Little(content.size() + missing, 4) + content + std::string(content.size() % 2, '\0');
}
std::string Avi(const std::vector<std::string>& kinds, const std::string& behind, size_t missing = 0) {
    std::string lists = Chunk("avih", std::string(56, '\1'));
    for (const std::string& kind : kinds)
        lists +=
            Chunk("LIST", "strl" + Chunk("strh", kind + std::string(52, '\1')) + Chunk("strf", std::string(41, '\1')));
    return Chunk("RIFF", "AVI " + Chunk("LIST", "hdrl" + lists, missing) + behind);
}

std::string Guid(unsigned a, unsigned b, unsigned c, unsigned long long rest) {
    return Little(a, 4) + Little(b, 2) + Little(c, 2) + Big(rest, 8);
}
std::string Object(const std::string& guid, const std::string& content) {
    return guid + Little(content.size() + 24, 8) + content;
}
std::string Asf(const std::string& objects, size_t missing = 0) {
    const std::string content = Little(2, 4) + "\1\2" + objects;
    return Guid(0x75B22630, 0x668E, 0x11CF, 0xA6D900AA0062CE6C) + Little(content.size() + 24 + missing, 8) + content;
}
const std::string kStreamObject = Guid(0xB7DC0791, 0xA9B7, 0x11CF, 0x8EE600C00C205365);
const std::string kAsfSound = Guid(0xF8699E40, 0x5B4D, 0x11CF, 0xA8FD00805F5C442B);
const std::string kAsfPictures = Guid(0xBC19EFC0, 0x5B4D, 0x11CF, 0xA8FD00805F5C442B);
const std::string kExtendedObject = Guid(0x14E6A5CB, 0xC672, 0x4332, 0x8399A96952065B5A);
std::string AsfStream(const std::string& kind, const std::string& compression = "WMV3") {
    return Object(kStreamObject, kind + std::string(65, '\1') + compression + std::string(30, '\1'));
}

std::string Part(const std::string& name, const std::string& content) {
    return name + Big(content.size() + 10, 4) + "\0\0"s + content;
}
std::string Real(const std::vector<std::string>& types, int due, const std::string& behind) {
    std::string all = Part(".RMF", "\0\0\0\0\0\0\0\5"s) +
                      Part("PROP", std::string(36, '\1') + Big(static_cast<unsigned>(due), 2) + "\0\1"s);
    for (const std::string& type : types)
        all += Part("MDPR",
                    std::string(30, '\1') + "\4name" + static_cast<char>(type.size()) + type + std::string(20, '\1'));
    return all + behind;
}

std::string Page(const std::string& packet, int flags, int serial) {
    return "OggS\0"s + static_cast<char>(flags) + std::string(8, '\0') + Little(static_cast<unsigned>(serial), 4) +
           std::string(8, '\0') + "\1" + static_cast<char>(packet.size()) + packet;
}

TEST(ContainersTest, StreamsTellSoundFromPictures) {
    const std::string movi = Chunk("LIST", "movi" + std::string(60, 'm'));
    const std::string sound = Page("\1vorbis" + std::string(23, '\1'), 2, 1);
    const std::string theora = Page("\200theora" + std::string(34, '\1'), 2, 2);
    const std::string data = Page(Repeat(20, "media "), 0, 1);
    constexpr const wchar_t* kOgg = L"application/ogg";
    constexpr const wchar_t* kAsf = L"video/x-ms-asf";
    Check({
        {L"audio/avi", nullptr, Avi({"auds"}, movi)},
        {L"video/avi", nullptr, Avi({"auds", "vids"}, movi)},
        {L"video/avi", nullptr, Avi({"auds", "iavs"}, movi)},
        {L"video/avi", nullptr, Avi({"auds"}, "", 200)},
        {L"video/avi", nullptr, Avi({"txts"}, movi)},
        {L"audio/avi", nullptr, Avi({"auds"}, Chunk("JUNK", std::string(9, 'j')) + movi)},

        {L"audio/x-ms-wma", kAsf, Asf(AsfStream(kAsfSound)) + "data"},
        {L"video/x-ms-wmv", kAsf, Asf(AsfStream(kAsfSound) + AsfStream(kAsfPictures)) + "data"},
        {L"video/x-ms-dvr", kAsf, Asf(AsfStream(kAsfSound) + AsfStream(kAsfPictures, "DVR ")) + "data"},
        {L"audio/x-ms-wma", kAsf, Asf(AsfStream(kAsfSound, "DVR ")) + "data"},
        {kAsf, nullptr, Asf(AsfStream(kAsfSound), 100) + "data"},
        {kAsf, nullptr, Asf(Object(kAsfSound, "other")) + "data"},
        {kNothing, nullptr, Asf("").substr(0, 28) + "\2\2data"},

        {L"audio/x-pn-realaudio", nullptr, Real({"audio/x-pn-realaudio"}, 1, Part("DATA", ""))},
        {L"audio/x-pn-realaudio", nullptr, Real({"audio/x-pn-realaudio"}, 1, "")},
        {L"video/x-pn-realmedia", nullptr, Real({"audio/x-pn-realaudio"}, 2, "")},
        {L"audio/x-pn-realaudio", nullptr, Real({"audio/x-pn-realaudio"}, 2, Part("DATA", ""))},
        {L"video/x-pn-realmedia", nullptr, Real({"audio/x-pn-realaudio", "video/x-pn-realvideo"}, 2, Part("DATA", ""))},
        {L"video/x-pn-realmedia", nullptr, Real({}, 0, Part("DATA", ""))},

        {L"audio/ogg", kOgg, sound + data},
        {L"video/ogg", kOgg, sound + theora + data},
        {kOgg, nullptr, sound},
        {kOgg, nullptr, Page("CMML\0\0\0\0"s, 2, 3) + data},
        {L"audio/ogg", kOgg, Page("OpusHead" + std::string(11, '\1'), 2, 1) + "lost bytes" + data},
        {L"audio/ogg", kOgg, sound + data.substr(30) + data},
        {L"video/ogg", kOgg, sound.substr(0, sound.size() - 9) + theora + data},
        {kNothing, nullptr, "OggS\1"s + sound.substr(5) + data},
    });
}

// Headers that never end, or lead back: far behind the head each step costs a read, of which there are no more than a
// walk may take.
TEST(ContainersTest, NoHeaderCostsMoreThanAWalkMayTake) {
    constexpr int kMostReads = 32 + 2;
    constexpr int kMostHeadReads = 8;  // which grow from a byte to the whole
    constexpr size_t kStep = 40'000;
    const std::string gap(kStep, '\1');
    const std::string name = Little(0, 2) + Little(kStep, 2) + gap;
    const std::pair<const char*, std::string> contents[] = {
        {"boxes", kBrand + Repeat(200, Box("free", gap))},
        {"boxes of the movie", kBrand + Box("moov", Repeat(200, Box("free", gap)))},
        {"empty boxes", kBrand + Repeat(500'000, Box("free", ""))},
        {"empty tracks", kBrand + Box("moov", Repeat(500'000, Box("trak", "")))},
        {"no movie behind media", kBrand + Box("mdat", "") + Repeat(500'000, "\1\1moov\1")},
        {"fillers", Ebml("matroska") + Element(kSegment, Repeat(200, Element(kVoid, gap)))},
        {"a list of unknown length",
         Ebml("matroska") + Element(kSegment, "\x16\x54\xAE\x6B\xFF" + Repeat(200, Element(kVoid, gap)))},
        {"an index that leads to itself",
         Ebml("matroska") + Element(kSegment, Element(0x114D9B74, Element(0x4DBB, Element(0x53AB, Big(0x114D9B74, 4)) +
                                                                                      Element(0x53AC, Big(0, 4)))) +
                                                  gap + gap)},
        {"objects", Asf(Repeat(200, Object(kAsfSound, gap)))},
        {"names of a stream", Asf(Object(kExtendedObject, std::string(60, '\0') + Little(0xFFFF, 2) +
                                                              Little(0xFFFF, 2) + Repeat(100, name)))},
        {"attributes", Asf(Object(Guid(0xD2D0A440, 0xE307, 0x11D2, 0x97F000A0C95EA850),
                                  Little(0xFFFF, 2) + Repeat(100, Little(kStep, 2) + gap + Little(0, 4))))},
        {"chunks", Chunk("RIFF", "AVI " + Repeat(200, Chunk("JUNK", gap)))},
        {"empty lists", Chunk("RIFF", "AVI " + Repeat(500'000, Chunk("LIST", "strl")))},
        {"no format", Chunk("RIFF", "WAVE" + Repeat(200, Chunk("JUNK", gap)))},
        {"parts", Real({}, 0, Repeat(200, Part("CONT", gap)))},
        {"pages", Page("\1vorbis", 2, 1) + Repeat(100'000, Page("CMML\0\0\0\0"s, 2, 3))},
        {"a picture without end", "\xFF\xD8\xFF\xDA\0\2"s + Repeat(100, gap)},
        {"zeros", std::string(8 << 20, '\0')},
        {"packs far apart", "\0\0\1\xBA\x44\0\4\0\4\1\0\0\3\0"s + std::string(4 << 20, '\0')},
        {"tags", Repeat(20, "ID3\3\0\0\0\2\0\0"s + std::string(2 << 14, 't'))},
    };
    for (const auto& [what, content] : contents) {
        CScriptedStream source(content);
        EXPECT_TRUE(Take(MimeTypeDictionary()->Detect(&source))) << what;
        const int most = what == std::string("zeros") || what == std::string("tags") ? 17 * 2 : kMostReads;
        EXPECT_GE(most + kMostHeadReads, source.Calls(CScriptedStream::kRead)) << what;
        EXPECT_GE(most + kMostHeadReads, source.Calls(CScriptedStream::kSeek)) << what;
    }
}

}  // namespace
