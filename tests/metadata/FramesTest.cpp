// Frames, packets and packs without a container, put together here: each table and limit of the rules, and flaws at the
// start, among them and at the end.
#include "tests/metadata/MetadataTest.h"

#include <utility>

using namespace metadata;

namespace {

using namespace std::string_literals;

// Bytes that are no frame's, packet's or code's start, and never repeat themselves at once.
std::string Filling(size_t count, unsigned seed = 1) {
    std::string bytes(count, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(0x60 + ((seed = seed * 1'103'515'245 + 12'345) >> 16) % 0x17);
    return bytes;
}

// Fields in a row, each a value and its number of bits, filled up to `bytes`.
template <class... Fields>
std::string Frame(size_t bytes, Fields... values) {
    const unsigned fields[] = {static_cast<unsigned>(values)...};
    std::string frame;
    unsigned bits = 0;
    for (size_t i = 0; i < std::size(fields); i += 2) {
        for (unsigned bit = fields[i + 1]; bit-- > 0; ++bits) {
            if (bits % 8 == 0)
                frame += '\0';
            frame.back() = static_cast<char>(frame.back() | static_cast<int>(fields[i] >> bit & 1) << (7 - bits % 8));
        }
    }
    return frame + Filling(bytes - std::min(bytes, frame.size()));
}

std::string Swapped(std::string bytes) {
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
        std::swap(bytes[i], bytes[i + 1]);
    return bytes;
}

// MPEG audio; the last three bits are of the emphasis and the one before it.
std::string Mpeg(size_t bytes, unsigned version, unsigned layer, unsigned bitRate, unsigned rate, unsigned padding = 0,
                 unsigned last = 0) {
    return Frame(bytes, 0x7FF, 11, version, 2, layer, 2, 1, 1, bitRate, 4, rate, 2, padding, 1, last, 9);
}
std::string Layer3(int frames, unsigned rate = 0) {  // of 128 kbit/s
    return Repeat(frames, Mpeg(rate == 0 ? 417 : rate == 1 ? 384 : 576, 3, 1, 9, rate));
}

TEST(FramesTest, MpegAudioOfEveryBitRateAndSampleRate) {
    constexpr unsigned kV1L1[] = {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448};
    constexpr unsigned kV1L2[] = {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384};
    constexpr unsigned kV1L3[] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
    constexpr unsigned kV2L1[] = {32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256};
    constexpr unsigned kV2L23[] = {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160};
    const struct {
        unsigned version, layer;
        const unsigned (&bitRates)[14];
        unsigned slots, slotBytes, rates[3];
        const wchar_t* type;
    } kinds[] = {{3, 3, kV1L1, 12'000, 4, {44'100, 48'000, 32'000}, L"audio/mp1"},
                 {3, 2, kV1L2, 144'000, 1, {44'100, 48'000, 32'000}, L"audio/mp2"},
                 {3, 1, kV1L3, 144'000, 1, {44'100, 48'000, 32'000}, L"audio/mpeg"},
                 {2, 3, kV2L1, 12'000, 4, {22'050, 24'000, 16'000}, L"audio/mp1"},
                 {2, 2, kV2L23, 144'000, 1, {22'050, 24'000, 16'000}, L"audio/mp2"},
                 {2, 1, kV2L23, 72'000, 1, {22'050, 24'000, 16'000}, L"audio/mpeg"},
                 {0, 1, kV2L23, 72'000, 1, {11'025, 12'000, 8'000}, L"audio/mpeg"}};
    for (const auto& kind : kinds) {
        for (unsigned rate = 0; rate < 3; ++rate) {
            for (unsigned index = 1; index < 15; ++index) {
                const size_t slots = kind.slots * kind.bitRates[index - 1] / kind.rates[rate];
                std::string content;
                for (unsigned padding = 0; padding < 4; ++padding)
                    content += Mpeg((slots + padding % 2) * kind.slotBytes, kind.version, kind.layer, index, rate,
                                    padding % 2);
                const auto [front, behind] = std::pair(Filling(1 + index), Filling(9));
                EXPECT_EQ(kind.type, Detected(content + behind)) << kind.version << kind.layer << rate << index;
                EXPECT_EQ(kNothing, Detected(front + content + behind)) << "four are too few there";
            }
        }
    }
    EXPECT_EQ(kNothing, Detected(Repeat(6, Mpeg(417, 3, 1, 9, 0, 0, 2)))) << "an emphasis that is kept back";
    EXPECT_EQ(kNothing, Detected(Repeat(6, Mpeg(208, 0, 2, 9, 0)))) << "MPEG-2.5 has Layer III alone";
    EXPECT_EQ(kNothing, Detected(Repeat(6, Mpeg(208, 1, 1, 9, 0)))) << "a version that is kept back";
}

std::string FreeFormat(unsigned layer, size_t bytes) {
    return Repeat(5, Mpeg(bytes, 3, layer, 0, 0) + Mpeg(bytes + 1, 3, layer, 0, 0, 1));
}

std::string Adts(size_t bytes, unsigned rate = 4, unsigned profile = 1, unsigned hasNoChecksum = 1,
                 unsigned channels = 2) {
    return Frame(bytes, 0xFFF, 12, 0, 3, hasNoChecksum, 1, profile, 2, rate, 4, 0, 1, channels, 3, 0, 4, bytes, 13,
                 0x7FF, 11, 0, 2);
}
std::string Loas(size_t bytes) {
    return Frame(bytes, 0x2B7, 11, bytes - 3, 13);
}
std::string Ac3(size_t bytes, unsigned rate, unsigned sizeCode, unsigned version = 8) {
    return Frame(bytes, 0x0B77, 16, 0x1234, 16, rate, 2, sizeCode, 6, version, 5, 0, 3);
}
std::string Eac3(size_t bytes, unsigned version = 16, unsigned kind = 0, unsigned rates = 0) {
    return Frame(bytes, 0x0B77, 16, kind, 2, 0, 3, bytes / 2 - 1, 11, rates, 4, 7, 4, version, 5, 0, 3);
}
std::string Dts(size_t bytes, unsigned lastBlock = 15, unsigned deficit = 31) {
    return Frame(bytes, 0x7FFE8001, 32, 1, 1, deficit, 5, 0, 1, lastBlock, 7, bytes - 1, 14, 9, 6, 13, 4, 24, 5, 0, 10);
}

std::string DtsExtension(size_t bytes, unsigned isLong = 0) {
    return Frame(bytes, 0x64582025, 32, 0, 10, isLong, 1, isLong ? 0x12A : 0x2A, isLong ? 12 : 8, bytes - 1,
                 isLong ? 20 : 16, 0x55, 8);
}

std::string Adif(unsigned isVariable, unsigned bitRate, unsigned rate, unsigned elements) {
    return "ADIF" + Frame(40, 0, 3, isVariable, 1, bitRate, 23, 0, isVariable ? 4 : 24, 1, 6, rate, 4, elements, 12);
}

TEST(FramesTest, Ac3OfEverySize) {
    constexpr unsigned kBitRates[] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                      192, 224, 256, 320, 384, 448, 512, 576, 640};
    constexpr unsigned kWordsAt44[] = {69,  87,  104, 121, 139, 174, 208,  243,  278, 348,
                                       417, 487, 557, 696, 835, 975, 1114, 1253, 1393};
    for (unsigned code = 0; code < 38; ++code) {
        const size_t sizes[] = {kBitRates[code / 2] * 4, (kWordsAt44[code / 2] + code % 2) * 2,
                                kBitRates[code / 2] * 6};
        for (unsigned rate = 0; rate < 3; ++rate) {
            const std::string frames = Repeat(2, Ac3(sizes[rate], rate, code));
            EXPECT_EQ(L"audio/x-ac3", Detected(frames + "behind")) << rate << " " << code;
            EXPECT_EQ(L"audio/x-ac3", Detected(Swapped(frames) + "behind")) << rate << " " << code;
            EXPECT_EQ(kNothing, Detected(frames.substr(0, sizes[rate]) + "behind"));
        }
    }
    EXPECT_EQ(kNothing, Detected(Repeat(3, Ac3(2560, 0, 38))));
    EXPECT_EQ(kNothing, Detected(Repeat(3, Ac3(128, 0, 0)).replace(0, 2, "\x0B\x78")));
}

TEST(FramesTest, FramesCountOnlyIfTheyLinkUp) {
    const std::string x = Filling(50);
    Expect(L"audio/x-aac", Repeat(3, Adts(300)) + x, Adts(8) + Adts(8191) + Adts(10) + x, Repeat(2, Adts(300)),
           Repeat(4, Adts(300, 12)), Repeat(4, Adts(10, 4, 1, 0)) + x, Repeat(3, Loas(200)) + x);
    Expect(kNothing, Repeat(2, Adts(300)) + x, Adts(300) + Adts(300, 5) + Adts(300),
           Adts(300) + Adts(300, 4, 2) + Adts(300), Adts(300) + Adts(300, 4, 1, 1, 6) + Adts(300),
           Repeat(4, Adts(300, 13)), Repeat(4, Adts(9, 4, 1, 0)), Repeat(2, Loas(200)) + x, Repeat(3, Eac3(768, 17)),
           Repeat(3, Eac3(768, 16, 3)), Repeat(3, Eac3(768, 16, 0, 15)), Ac3(128, 0, 0) + Ac3(138, 1, 0) + x);
    Expect(L"audio/x-ac3", Repeat(2, Eac3(768)) + x, Eac3(4096, 11) + Eac3(8) + x, Ac3(128, 0, 0, 10) + Eac3(768) + x);
    // An odd size is that of 1,509 kbit/s.
    Expect(L"audio/x-dts", Repeat(2, Dts(1024)) + x, Repeat(3, Dts(2013)) + x, Swapped(Repeat(2, Dts(2012))) + x,
           Dts(1000) + std::string(24, '\0') + Dts(1000) + x, Repeat(2, Dts(96, 5)) + x,
           Repeat(2, Dts(1024) + DtsExtension(300)) + x, Repeat(2, DtsExtension(20'000, 1)) + x,
           Repeat(2, DtsExtension(10)) + x);
    Expect(kNothing, Repeat(2, DtsExtension(9)) + x, Repeat(2, Dts(95)), Repeat(2, Dts(1024, 4)),
           Repeat(2, Dts(1024, 15, 30)), FreeFormat(1, 40), FreeFormat(3, 800), Repeat(3, Mpeg(650, 3, 1, 0, 0)) + x);
    Expect(L"audio/x-aac", Adif(1, 0, 4, 0x100), Adif(0, 128'000, 12, 1), Adif(0, 1 << 22, 12, 1),
           Repeat(8, Id3(0)) + Adif(1, 0, 4, 1));
    Expect(kNothing, Repeat(9, Id3(0)) + Adif(1, 0, 4, 1), Adif(0, 0, 4, 1), "ADIF of a logging program <EOH>",
           Adif(1, 0, 13, 1), Adif(1, 0, 4, 0));
    Expect(L"audio/mp2", FreeFormat(2, 800));
    Expect(L"audio/mpeg", FreeFormat(1, 650));
}

TEST(FramesTest, AShortChainEndsWithTheContent) {
    const std::string x = Filling(700);
    const std::string tag = "TAG" + std::string(125, ' ');
    Expect(L"audio/mpeg", Layer3(2), x + Layer3(3), x + Layer3(3) + tag, x + Layer3(3) + Layer3(1).substr(0, 2),
           Layer3(3) + std::string(900, '\0'), Layer3(2) + "APETAGEX" + x, Layer3(2) + Layer3(4, 2) + x,
           x + Layer3(6) + Layer3(20, 1) + x);
    Expect(kNothing, Layer3(1), x + Layer3(2), x + Layer3(3) + x, Layer3(3) + "ab", Layer3(2) + Layer3(3, 2) + x,
           Layer3(1) + Layer3(4, 2) + x);
    // Frames that fit into one packet of another container, and Layer I, because much other data begins like it.
    Expect(kNothing, x + Layer3(6) + x, x + Repeat(40, Mpeg(312, 3, 3, 9, 0)) + x);
    Expect(L"audio/mpeg", x + Layer3(20) + x);
    Expect(L"audio/x-aac", x + Repeat(5, Adts(300)) + tag, x + Repeat(8, Adts(1300)) + x,
           x + Repeat(50, Loas(200)) + x);
    Expect(kNothing, x + Repeat(2, Adts(300)), x + Repeat(7, Adts(300)) + x, Eac3(768).substr(0, 767),
           Ac3(768, 0, 20) + "x", x + Repeat(3, Dts(4096)) + x);
    Expect(L"audio/x-ac3", Ac3(768, 0, 20), Eac3(768), x + Repeat(20, Ac3(768, 0, 20)) + x);
    Expect(L"audio/x-dts", Dts(1024), x + Repeat(10, Dts(1024)) + x);
    // Frames inside of other formats.
    const std::string program = "MZ" + Filling(58) + Little(80, 4) + Filling(16) + "PE\0\0"s;
    const std::string bitmap = "BM" + Filling(4) + Big(0, 4) + Little(54, 4) + Little(40, 4);
    Expect(kNothing, "fLaC" + Layer3(20), program + Layer3(20), bitmap + Layer3(20),
           Filling(257) + "ustar" + Layer3(20), "RIFF1234QLCM" + Layer3(20));
    Expect(L"audio/mpeg", program.substr(0, 80) + Layer3(20), "BM" + x + Layer3(20), "QLCM" + Layer3(20));
    // One frame behind a few other bytes: its checksum tells.
    for (const auto& [name, bytes] : {std::pair("frames.ac3", 256), std::pair("frames.eac3", 128)}) {
        const std::string frame =
            Sample{kSamples / "audio-x-ac3" / name}.Content().substr(0, static_cast<size_t>(bytes));
        Expect(L"audio/x-ac3", x + frame, x + frame + frame, "x" + Swapped(frame), Filling(1024) + frame);
        Expect(kNothing, x + frame + "x", x + frame.substr(0, frame.size() - 1), Filling(1025) + frame,
               x + frame.substr(0, frame.size() - 1) + "x", x + frame.substr(0, 99) + "x" + frame.substr(100));
    }
}

// A transport stream's packet, with what stands before and behind it in its stride.
std::string Packet(unsigned pid, size_t stride = 188, const std::string& payload = "", unsigned third = 0x10) {
    static unsigned seed = 0;
    std::string packet = "\x47"s + static_cast<char>(payload.empty() ? pid >> 8 : pid >> 8 | 0x40) +
                         static_cast<char>(pid) + static_cast<char>(third) + payload;
    packet += Filling(188 - packet.size(), ++seed);
    return stride == 192 ? "\x20\1\2\3" + packet : packet + Filling(stride - 188);
}
std::string Packets(int count, size_t stride = 188, bool hasTable = true) {
    std::string all;
    for (int i = 0; i < count; ++i)
        all += Packet(i == 1 && hasTable ? 0 : 0x101, stride, i == 1 && hasTable ? "\0\0\xB0\x0D\0\1\xC1\0\0"s : "");
    return all;
}

TEST(FramesTest, TransportPacketsWithFlawsAreFound) {
    constexpr const wchar_t* kTs = L"video/mp2t";
    const std::string x = Filling(3000);
    const auto changed = [](std::string all, size_t packet, size_t byte, int value) {
        all[packet * 188 + byte] = static_cast<char>(value);
        return all;
    };
    for (const size_t stride : {188u, 192u, 204u, 208u}) {
        Expect(kTs, Packets(5, stride), Packets(20, stride, false), x + Packets(16, stride),
               Packets(20, stride).substr(100), Packets(3, stride) + Packets(20, stride).substr(10),
               x + Packets(9, stride) + std::string(stride, 'x') + Packets(9, stride));
        Expect(kNothing, Packets(4, stride), Packets(19, stride, false), x + Packets(15, stride),
               x + Packets(40, stride, false));
    }
    for (const int flags : {0x81, 0xC1})
        Expect(kTs, changed(Packets(6), 0, 1, flags));
    Expect(kNothing, changed(Packets(5), 3, 1, 0x81));  // four whole ones
    Expect(kNothing, changed(Packets(5), 3, 3, 0x50));  // scrambling that is kept back
    Expect(kNothing, changed(Packets(5), 3, 3, 0x00));  // neither payload nor adaptation
    Expect(kNothing, changed(changed(Packets(5), 3, 3, 0x30), 3, 4, 183));
    Expect(kTs, changed(changed(Packets(5), 3, 3, 0x30), 3, 4, 182));
    Expect(kTs, changed(changed(Packets(5), 3, 3, 0x20), 3, 4, 183));
    Expect(kNothing, Packets(2) + std::string(376, 'x') + Packets(3));  // two in a row that aren't right
    Expect(kTs, Packets(4, 188, false) + Packet(0x1FFF),
           Packets(4, 188, false) + Packet(0, 188, "\2xx\0\xB0\x0D\0\1\xC1\0\0"s));
    Expect(kTs, Packets(4, 188, false) + Packet(0x100, 188, "\0\0\1\xE0"s));
    Expect(kNothing, Packets(4, 188, false) + Packet(0x100, 188, "\0\0\1\xB3"s));
    Expect(kNothing, Packets(4, 188, false) + Packet(0, 188, "\0\1\xB0\x0D"s));  // another table
    Expect(kNothing, Packets(4, 188, false) + Packet(0, 188, "\0\0\xBF\xFE"s));  // too long
    Expect(kNothing, std::string(65'536, 'G'));
}

TEST(FramesTest, PacksAreFoundAlsoFromTheirMiddleOn) {
    const std::string video = "\0\0\1\xE0\1\0"s + Filling(256);
    const std::string mpeg1 = "\0\0\1\xBA\x21\0\1\0\1\x80\0\1"s + video;
    const std::string mpeg2 = "\0\0\1\xBA\x44\0\4\0\4\1\0\0\3\2"s + "\xFF\xFF" + video;
    for (const auto& [type, pack] : {std::pair(L"video/mp1s video/mpeg", mpeg1), std::pair(L"video/mp2p", mpeg2)}) {
        const size_t header = pack.size() - video.size();
        const std::string packet = "\0\0\1\xC0\1\0"s + (header == 12 ? "\x21" : "\x81") + Filling(255);
        Expect(type, pack + pack, pack + video, std::string(50, '\0') + pack + std::string(900, '\0') + pack,
               pack.substr(99) + Repeat(3, pack), video + Repeat(3, pack),
               Filling(2500) + Repeat(3, pack + std::string(30, '\0')), Filling(99) + Repeat(12, packet));
        Expect(kNothing, pack + Filling(99), video + Repeat(2, pack),
               Filling(99) + pack + Filling(9) + pack + Filling(9) + pack,
               Filling(99) + Repeat(11, packet) + Filling(99));
        // Each marker bit alone, in all packs.
        for (size_t byte = 4; byte < header - (type == std::wstring(L"video/mp2p") ? 3 : 0); ++byte) {
            for (int bit = 1; bit < 0x100; bit <<= 1) {
                std::string broken = pack;
                broken[byte] = static_cast<char>(broken[byte] ^ bit);
                if (pack[byte] & bit) {
                    EXPECT_EQ(kNothing, Detected(Repeat(4, broken))) << byte << " " << bit;
                }
            }
        }
    }
}

TEST(FramesTest, WhatBeginsNearTheHeadsEndOrBehindZerosIsLookedAtFurtherOn) {
    const std::string packet = "\0\0\1\xC0\x40\0\x21"s + Filling(0x3FFF);
    const std::pair<const wchar_t*, std::string> streams[] = {
        {L"audio/mpeg", Layer3(25)},
        {L"audio/x-aac", Repeat(30, Adts(300))},
        {L"audio/x-ac3", Repeat(9, Ac3(2560, 0, 36))},
        {L"audio/x-dts", Repeat(5, Dts(2012))},
        {L"video/mp2t", Packets(40)},
        {L"video/mp2p", Repeat(3, "\0\0\1\xBA\x44\0\4\0\4\1\0\0\3\0"s + packet)},
        {L"video/mp1s video/mpeg", Repeat(12, packet)},
    };
    const std::string x = Filling(65'536);
    for (const auto& [type, stream] : streams) {
        for (const size_t count : {50'001u, 58'000u, 64'001u, 65'535u})
            Expect(type, x.substr(0, count) + stream + x);
        for (const size_t count : {32'768u, 64'001u, 65'535u, 65'536u, 130'000u, 131'071u}) {
            const std::string zeros(count, '\0');
            Expect(type, zeros + stream + x, zeros + x.substr(0, 700) + stream + x);
        }
    }
    // Where zeros end, less is enough than anywhere.
    const std::string zeros(100'001, '\0');
    Expect(L"audio/mpeg", zeros + Layer3(4) + x, std::string(1 << 20, '\0') + Layer3(25));
    Expect(kNothing, zeros + Layer3(3) + x, x + x + Layer3(25), std::string(1 << 21, '\0') + Layer3(25),
           zeros + "RIFF\x24\0\0\0WAVEfmt \x10\0\0\0"s);
}

// The sequence header; the last bits are those of a constrained stream and of the two matrices.
std::string Sequence(unsigned last = 0, unsigned width = 352, unsigned height = 288, unsigned aspect = 1,
                     unsigned rate = 3, unsigned bitRate = 1000, unsigned marker = 1) {
    return Frame(12, 0x1B3, 32, width, 12, height, 12, aspect, 4, rate, 4, bitRate, 18, marker, 1, 20, 10, last, 3);
}
std::string Code(unsigned code, const std::string& content = Filling(4)) {
    return "\0\0\1"s + static_cast<char>(code) + content;
}

TEST(FramesTest, ElementaryVideoHasItsHeadersInOrder) {
    constexpr const wchar_t* kMpeg1 = L"video/mpeg";
    constexpr const wchar_t* kMpeg2 = L"video/mpeg2";
    const std::string slices = Code(1) + Code(0xAF);
    const std::string picture = Code(0, Filling(9)) + slices;
    const std::string matrix = Filling(63);
    Expect(kMpeg1, Sequence() + picture, Sequence() + std::string(9, '\0') + Code(0xB8) + picture);
    // The extension isn't a sequence's.
    Expect(kMpeg1, Sequence() + Code(0xB5, "\x23more") + picture);
    Expect(kMpeg2, Sequence() + Code(0xB5, "\x14more") + Code(0xB2) + Code(0xB8) + picture);
    Expect(kMpeg1, Sequence(2) + matrix + "b" + picture, Sequence(2) + matrix + "a" + matrix + "b" + picture,
           Sequence(1) + matrix + "a" + picture, Sequence() + Code(0, Filling(9)) + Code(0xAF),
           Sequence(0, 352, 288, 14, 13) + picture);
    Expect(kNothing, Sequence(1) + matrix + picture, Sequence(2) + matrix + "a" + picture,
           Sequence() + Filling(9) + picture, Sequence() + Code(0, Filling(9)) + Code(0xB0),
           Sequence() + Code(0, Filling(9)) + Code(0xB8) + slices, Sequence() + Code(0, Filling(9)) + picture,
           Sequence() + slices, Sequence(0, 0) + picture, Sequence(0, 352, 0) + picture,
           Sequence(0, 352, 288, 0) + picture, Sequence(0, 352, 288, 15) + picture,
           Sequence(0, 352, 288, 1, 0) + picture, Sequence(0, 352, 288, 1, 14) + picture,
           Sequence(0, 352, 288, 1, 3, 0) + picture, Sequence(0, 352, 288, 1, 3, 1000, 0) + picture);
    constexpr const wchar_t* kMpeg4 = L"video/mp4v-es";
    const auto layer = [](unsigned code, unsigned type, unsigned aspect) {
        return Code(0, "") + Frame(12, 0x100 | code, 32, 0, 1, type, 8, 0, 1, aspect, 4) + Code(0xB6);
    };
    const std::string named = Code(0x1F, "") + Frame(12, 0x12F, 32, 0, 1, 1, 8, 1, 1, 0, 7, 1, 4);
    const std::string video = Code(0xB5, "\x08") + Code(0xB2);
    Expect(kMpeg4, layer(0x20, 1, 1), named + Code(0xB2) + Code(0xB3) + Code(0xB6), video + layer(0x20, 1, 1),
           Code(0xB0) + Code(0xB2) + Code(0xB5, "\x88\x10" + Filling(10)) + layer(0x20, 1, 1));
    Expect(kNothing, layer(0x1F, 1, 1), layer(0x30, 1, 1), layer(0x20, 0, 1), layer(0x20, 1, 0),
           named + Code(0xB0) + Code(0xB6), named, Code(0xB5, "\x10") + layer(0x20, 1, 1),
           Code(0xB5, "\x88\x08") + layer(0x20, 1, 1), Code(0xB5, "\x08" + Filling(12)) + layer(0x20, 1, 1),
           Code(0xB0, Filling(5)) + video + layer(0x20, 1, 1));
}

TEST(FramesTest, BlocksOfATapeStandInTheirOrder) {
    std::string blocks;
    const auto add = [&](unsigned section, unsigned number) {
        blocks += Frame(80, section, 3, 0x1F, 5, 0, 4, 7, 4, number, 8);
    };
    for (const unsigned block : {0x00u, 0x10u, 0x11u, 0x20u, 0x21u, 0x22u, 0x30u})
        add(block >> 4, block & 15);
    for (unsigned number = 0; number < 15; ++number)
        add(4, number);
    Expect(L"video/x-dv", blocks, blocks.substr(0, 450));
    Expect(kNothing, blocks.substr(0, 400));
    for (size_t block = 0; block < 22; ++block) {
        for (size_t byte = 0; byte < 3; ++byte) {
            std::string broken = blocks;
            broken[block * 80 + byte] = static_cast<char>(broken[block * 80 + byte] ^ (byte == 2 ? 1 : 0x20));
            Expect(kNothing, broken);
        }
    }
}

TEST(FramesTest, PicturesOfOneSizeInARowAreMotionJpeg) {
    constexpr const wchar_t* kPictures = L"video/x-motion-jpeg";
    const auto segment = [](int marker, const std::string& content) {
        return "\xFF" + std::string(1, static_cast<char>(marker)) + Big(content.size() + 2, 2) + content;
    };
    const std::string start = "\xFF\xD8", scan = segment(0xDA, "scan") + "data\xFF\0data\xFF\xD7\xFF\xFF\xD9"s;
    const auto size = [&](int marker, unsigned height) {
        return segment(marker, "\x08" + Big(height, 2) + "\1\2\3more");
    };
    const std::string image = start + size(0xC0, 480) + scan;
    const std::string several = start + segment(0xE2, "MPF\0"s) + size(0xC0, 480) + scan;
    Expect(kPictures, image + image,
           image + "\0\0\xFF"s + start + segment(0xC4, "other") + "\xFF" + size(0xCF, 480) + scan,
           image + start + Repeat(5, segment(0xFE, std::string(65'000, 'c'))) + size(0xC0, 480) + scan);
    Expect(kNothing, image, image + "x" + image, image + start + size(0xC0, 240) + scan,
           image + start + size(0xC0, 480) + size(0xC1, 240) + scan, several + image, image + several,
           image + image.substr(0, image.size() - 1), Repeat(2, start + scan),
           Repeat(2, start + size(0xC8, 480) + scan), Repeat(2, start + size(0xC0, 480) + "\xFF\xD9"),
           Repeat(2, start + segment(0x80, "") + size(0xC0, 480) + scan),
           Repeat(2, start + "\xFF\xE0\0\1"s + size(0xC0, 480) + scan));
}

}  // namespace
