// Containers put together here: sound told from pictures, lists of tracks that are cut off, other formats' marks, and
// headers that lead their reader round in circles or on for ever.
#include "tests/metadata/MetadataTest.h"

#include <utility>

using namespace metadata;

namespace {

using namespace std::string_literals;

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
    Expect(kAudio, kBrand + Box("moov", sound) + media);
    Expect(kVideo, kBrand + Box("moov", both) + media, kBrand + Box("moov", Track("vide") + sound) + media,
           kBrand + Box("moov", Track("hint")));
    // What is behind the end of the movie might have been a track of pictures.
    Expect(kVideo, kBrand + Box("moov", sound, 100));
    Expect(kVideo, kBrand + Box("moov", sound, 1), kBrand + Box("moov", sound + "\0\0\0\4trak"s), kBrand + media,
           kBrand + media + "junk moov junk" + Box("moov", Box("junk", "") + sound) + Box("moof", ""),
           brand("M4A ") + Box("moov", Track("vide")), brand("3gp6") + media, brand("3g2a") + media,
           brand("what", "mp42") + media, brand("mp42", "mif1") + Box("moov", both),
           brand("mp42") + Box("mif1", "") + Box("moov", both), Box("moof", Box("mfhd", "\0\0\0\0\0\0\0\1"s)) + media);
    Expect(kAudio, kBrand + media + "junk behind" + Box("moov", sound),
           kBrand + media + std::string(60'000, 'j') + Box("moov", sound),
           kBrand + Box("mdat", std::string(300'000, 'm')) + Box("moov", sound),
           kBrand + Big(1, 4) + "mdat" + Big(100'016, 8) + std::string(100'000, 'm') + Box("moov", sound),
           brand("M4A ") + media, brand("M4B ") + Box("moov", both));
    Expect(kNothing, brand("what", "ever") + media, brand("heic", "mif1") + Box("moov", both),
           brand("mp42", "mif1") + media, Box("wide", "") + Box("free", ""), media,
           Box("moof", Box("junk", "")) + media);
    Expect(L"audio/quicktime", brand("qt  ") + Box("moov", sound), Box("moov", sound));
    Expect(L"video/quicktime", Box("moov", both), Box("wide", "") + "\0\0\0\0mdat"s, Box("wide", "") + media,
           Box("moov", Box("cmov", "packed")));
    // No brand that is cut off counts, and no movie with more boxes than are looked at is one of sound alone.
    Expect(kNothing, Box("ftyp", "isom\0\0\2\0isom"s, 4));
    Expect(kVideo, kBrand + Box("moov", sound + Repeat(2000, Box("free", ""))));
    // Positions beyond any source.
    Expect(kVideo, kBrand + Big(1, 4) + "mdat" + Big(1ull << 63, 8) + std::string(70'000, 'm'));
    Expect(kVideo, kBrand + Box("mdat", std::string(70'000, 'm'), 70'000));
    Expect(kNothing, Box("abcd", kBrand) + Box("moov", both));
}

// Matroska

std::string Element(unsigned id, const std::string& content, size_t missing = 0) {
    const int idBytes = id > 0xFFFFFF ? 4 : id > 0xFFFF ? 3 : id > 0xFF ? 2 : 1;
    return Big(id, idBytes) + Big((content.size() + missing) | 0x10000000, 4) + content;
}
std::string Ebml(const std::string& type) {
    return Element(0x1A45DFA3, Element(0x4286, "\1") + Element(0x4282, type));
}
constexpr unsigned kSegment = 0x18538067, kTracks = 0x1654AE6B, kCluster = 0x1F43B675, kVoid = 0xEC,
                   kSeekHead = 0x114D9B74;

std::string SeekTo(size_t position, unsigned what = kTracks) {
    return Element(kSeekHead, Element(0x4DBB, Element(0x53AB, Big(what, 4)) + Element(0x53AC, Big(position, 4))));
}

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
    Expect(kAudio, ebml + Element(kSegment, Tracks({2}) + cluster),
           Ebml("webm") + Element(kSegment, Tracks({2, 2, 17}) + cluster),
           ebml + Element(kSegment, SeekTo(SeekTo(0).size() + cluster.size()) + cluster + Tracks({2}) + cluster),
           ebml + Element(kVoid, "fill") + Element(kSegment, Element(kVoid, "fill") + Tracks({2}) + cluster));
    Expect(kVideo, ebml + Element(kSegment, Tracks({2, 1}) + cluster),
           ebml + Element(kSegment, Tracks({2, 3}) + cluster), ebml + Element(kSegment, Tracks({2}, 40), 40),
           ebml + Element(kSegment, Tracks({2}, 1), 1), ebml + Element(kSegment, Tracks({17}) + cluster),
           ebml + Element(kSegment, cluster + Tracks({2})));
    // A live writer doesn't know lengths. The next part of the segment ends the list.
    Expect(kAudio, ebml + "\x18\x53\x80\x67\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x16\x54\xAE\x6B\xFF" +
                       Tracks({2}).substr(8) + cluster);
    Expect(kNothing, Ebml("matroskx") + Element(kSegment, Tracks({2})),
           ebml + Repeat(5, Element(kVoid, "fill")) + Element(kSegment, Tracks({2})),
           Ebml("webmx") + Element(kSegment, Tracks({2})), ebml + cluster,
           ebml + "\x08" + Element(kSegment, Tracks({2})));
    Expect(kAudio, Ebml("webm\0\0"s) + Element(kSegment, Tracks({2})),
           ebml + Repeat(4, Element(kVoid, "fill")) + Element(kSegment, Tracks({2})));
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
const std::string kAsfStills = Guid(0x35907DE0, 0xE415, 0x11CF, 0xA91700805F5C442B);
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
    // Two names and two extensions stand before the stream.
    const std::string extended = std::string(60, '\0') + Little(2, 2) + Little(2, 2) +
                                 Repeat(2, Little(1, 2) + Little(5, 2) + "name ") +
                                 Repeat(2, std::string(18, '\1') + Little(4, 4) + "more");
    const std::string kAsfBinary = Guid(0x3AFB65E2, 0x47EF, 0x40F2, 0xAC2C70A90D71D343) + std::string(38, '\1') +
                                   Guid(0x31178C9D, 0x03E1, 0x4528, 0xB5823DF9DB22F503);
    Expect(L"audio/avi", Avi({"auds"}, movi), Avi({"auds"}, Chunk("JUNK", std::string(9, 'j')) + movi),
           Avi({"auds"}, Chunk("JUNK", "more")), Avi({"auds"}, movi).replace(16, 4, "\0\0\0\0"s));
    Expect(L"video/avi", Avi({"auds", "vids"}, movi), Avi({"auds", "iavs"}, movi), Avi({"auds"}, "", 200));
    // Some recorders leave a list's length zero.
    Expect(L"video/avi", Avi({"txts"}, movi));
    Expect(L"video/avi", Avi({"auds"}, "").replace(16, 4, "\0\0\0\0"s));
    Expect(kNothing, Chunk("RIFF", "AVI \1\2\3\4 more"));

    Expect(L"audio/x-ms-wma video/x-ms-asf", Asf(AsfStream(kAsfSound)) + "data",
           Asf(AsfStream(kAsfSound, "DVR ")) + "data");
    Expect(L"video/x-ms-wmv video/x-ms-asf", Asf(AsfStream(kAsfSound) + AsfStream(kAsfPictures)) + "data",
           Asf(Object(kExtendedObject, extended + AsfStream(kAsfPictures))) + "data",
           Asf(AsfStream(kAsfStills, "DVR ")) + "data");
    Expect(L"video/x-ms-dvr video/x-ms-asf", Asf(AsfStream(kAsfSound) + AsfStream(kAsfPictures, "DVR ")) + "data",
           Asf(AsfStream(kAsfBinary)) + "data");
    Expect(L"video/x-ms-asf", Asf(AsfStream(kAsfSound), 100) + "data", Asf(Object(kAsfSound, "other")) + "data",
           Asf(Object(kExtendedObject, extended + Object(kAsfSound, std::string(200, '\1')))) + "data");
    Expect(kNothing, Asf("").substr(0, 28) + "\2\2data");

    Expect(L"audio/x-pn-realaudio", Real({"audio/x-pn-realaudio"}, 1, Part("DATA", "")),
           Real({"audio/x-pn-realaudio"}, 1, ""), Real({"audio/x-pn-realaudio"}, 2, Part("DATA", "")));
    Expect(L"video/x-pn-realmedia", Real({"audio/x-pn-realaudio"}, 2, ""),
           Real({"audio/x-pn-realaudio", "video/x-pn-realvideo"}, 2, Part("DATA", "")), Real({}, 0, Part("DATA", "")));

    Expect(L"audio/ogg application/ogg", sound + data,
           Page("OpusHead" + std::string(11, '\1'), 2, 1) + "lost bytes" + data, sound + data.substr(30) + data);
    Expect(L"video/ogg application/ogg", sound + theora + data, sound.substr(0, sound.size() - 9) + theora + data);
    Expect(L"application/ogg", sound, Page("CMML\0\0\0\0"s, 2, 3) + data,
           Page("\1vorbiz" + std::string(23, '\1'), 2, 1) + data);
    Expect(kNothing, Page("\1vorbis", 8, 1) + data, "OggS\1"s + sound.substr(5) + data);
}

TEST(ContainersTest, HeadersWithFieldsThatCannotBeAreNone) {
    const auto form = [](const std::string& chunks) {
        return Box("FORM", "AIFC" + chunks).replace(0, 8, "FORM\0\0\1\0"s);
    };
    const auto aiff = [&](unsigned channels, size_t bytes = 18) {
        return form("NAME\0\0\0\3abc\0"s + "COMM" + Big(bytes, 4) + Big(channels, 2) + std::string(bytes, '\1'));
    };
    const auto au = [](unsigned offset, unsigned encoding, unsigned rate, unsigned channels) {
        return ".snd" + Big(offset, 4) + Big(100, 4) + Big(encoding, 4) + Big(rate, 4) + Big(channels, 4);
    };
    const auto midi = [](unsigned format, unsigned tracks, const std::string& chunks, size_t length = 6) {
        return "MThd" + Big(length, 4) + (Big(format, 2) + Big(tracks, 2) + "\0\x60\0\0"s).substr(0, length) + chunks;
    };
    const std::string track = "MTrk\0\0\0\4\0\xFF\x2F\0"s, other = "XFIH\0\0\0\1x"s;
    const auto wave = [](const std::string& format, const char* name = "RIFF") {
        return Chunk(name, "WAVE" + Chunk("bext", "odd") + Chunk("fmt ", format) + Chunk("data", "pcm"));
    };
    const std::string subtype = "\xFE\xFF" + std::string(22, '\1');
    const auto oma = [](int codec, unsigned length = 96) {
        return "EA3\2" + Big(length, 2) + std::string(26, '\0') + static_cast<char>(codec) + std::string(63, '\1');
    };
    const auto disc = [](const std::string& start) {
        const std::string sync = "\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\0"s;
        return Chunk("RIFF", "CDXA" + std::string(32, '\1') + sync + std::string(2340, '\0') + sync +
                                 std::string(12, '\0') + start + std::string(2324, '\1'));
    };
    Expect(L"audio/aiff", aiff(1), aiff(0x7FFF), form("SSND\0\0\0\4"s + "data"));
    Expect(kNothing, aiff(0), aiff(0x8000), aiff(1, 17), form("NAME\0\0\0\4"s + "name"));

    Expect(L"audio/basic", au(24, 1, 1, 1), au(0x100000, 27, 8000, 255));
    Expect(kNothing, au(23, 1, 1, 1), au(0x100001, 1, 1, 1), au(24, 0, 1, 1), au(24, 28, 1, 1), au(24, 1, 0, 1),
           au(24, 1, 1, 0), au(24, 1, 1, 256), au(24, 1, 1, 0x100).substr(0, 23));

    Expect(L"audio/midi", midi(2, 1, track), midi(0, 1, Repeat(8, other) + track, 8));
    Expect(kNothing, midi(0, 1, Repeat(9, other) + track), midi(3, 1, track), midi(1, 0, track), midi(1, 1, track, 5),
           midi(1, 1, "\1" + track), Chunk("RIFF", "RMID" + Chunk("DISP", track)),
           Chunk("RIFX", "RMID" + Chunk("data", midi(2, 1, track))),
           Chunk("RIFF", "RMIX" + Chunk("data", midi(2, 1, track))));

    Expect(L"audio/wav", wave(std::string(14, '\1'), "BW64"), wave(subtype + Guid(1, 0, 16, 0x800000AA00389B71)),
           Chunk("RIFF", "WAVE" + Repeat(999, Chunk("JUNK", "")) + Chunk("fmt ", std::string(16, '\1'))));
    Expect(kNothing, wave(std::string(13, '\1')), wave("").substr(0, 36),
           Chunk("RIFF", "WAVE" + Repeat(1000, Chunk("JUNK", "")) + Chunk("fmt ", std::string(16, '\1'))));
    Expect(L"audio/x-atrac3 audio/wav", wave(subtype + Guid(0x270, 0, 16, 0x800000AA00389B71)));

    Expect(L"audio/x-pn-realaudio", ".ra\xFD\0\3"s, ".ra\xFD\0\4\0\0.ra4"s, ".ra\xFD\0\5\0\0.ra5"s);
    Expect(kNothing, ".ra\xFD\0\2"s, ".ra\xFD\0\6"s, ".ra\xFD\0\4\0\0.ra5"s);

    Expect(L"audio/x-atrac3", oma(2), "ea3\3\0\0\0\0\1\1"s + std::string(129, 't') + oma(6));
    Expect(kNothing, oma(3), oma(5), oma(0, 95));

    Expect(L"video/mpeg", disc("\0\0\1\xBA\x21"s));
    Expect(L"video/mp2p", disc("\0\0\1\xBA\x44"s));
    Expect(kNothing, disc("\0\0\1\xBA\x11"s), disc("\0\0\1\xB3\x21"s));
}

// Headers that never end, or lead back. Far behind the head each step costs a read, and there must be no more reads
// than a walk may take.
TEST(ContainersTest, NoHeaderCostsMoreThanAWalkMayTake) {
    constexpr int kMost = 32 + 2 + 8;  // the head's reads grow from a byte to the whole
    const std::string gap(40'000, '\1');
    const std::pair<const char*, std::string> contents[] = {
        {"boxes", kBrand + Repeat(200, Box("free", gap))},
        {"empty tracks", kBrand + Box("moov", Repeat(500'000, Box("trak", "")))},
        {"no movie behind media", kBrand + Box("mdat", "") + Repeat(500'000, "\1\1moov\1")},
        {"a list of unknown length",
         Ebml("matroska") + Element(kSegment, "\x16\x54\xAE\x6B\xFF" + Repeat(200, Element(kVoid, gap)))},
        {"an index that leads to itself", Ebml("matroska") + Element(kSegment, SeekTo(0, kSeekHead) + gap + gap)},
        {"objects", Asf(Repeat(200, Object(kAsfSound, gap)))},
        {"empty lists", Chunk("RIFF", "AVI " + Repeat(500'000, Chunk("LIST", "strl")))},
        {"parts", Real({}, 0, Repeat(200, Part("CONT", gap)))},
        {"pages", Page("\1vorbis", 2, 1) + Repeat(100'000, Page("CMML\0\0\0\0"s, 2, 3))},
        {"a picture without end", "\xFF\xD8\xFF\xDA\0\2"s + Repeat(100, gap)},
        {"packs far apart", "\0\0\1\xBA\x44\0\4\0\4\1\0\0\3\0"s + std::string(4 << 20, '\0')},
        {"zeros", std::string(8 << 20, '\0')},
        {"tags", Repeat(20, "ID3\3\0\0\0\2\0\0"s + std::string(2 << 14, 't'))},
    };
    for (const auto& [what, content] : contents) {
        CScriptedStream source(content);
        EXPECT_TRUE(Take(MimeTypeDictionary()->Detect(&source))) << what;
        EXPECT_GE(kMost, source.Calls(CScriptedStream::ReadCall)) << what;
        EXPECT_GE(kMost, source.Calls(CScriptedStream::SeekCall)) << what;
    }
}

}  // namespace
