// Frames, packets and packs without a container, put together here: each table and limit of the rules, and flaws at the
// start, among them and at the end.
#include "metadata/CMimeTypeDictionary.h"
#include "tests/metadata/MetadataTest.h"

#include <utility>

namespace {

using Fields = std::vector<std::pair<unsigned, unsigned>>;  // value and number of bits

std::wstring Detected(std::string_view content) {
    return Detected(*MimeTypeDictionary(), content);
}

// Bytes that are no frame's, packet's or code's start, and never repeat themselves at once.
std::string Filling(size_t count, unsigned seed = 1) {
    std::string bytes(count, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(0x60 + ((seed = seed * 1'103'515'245 + 12'345) >> 16) % 0x17);
    return bytes;
}

std::string Repeat(int times, const std::string& text) {
    std::string all;
    for (; times > 0; --times)
        all += text;
    return all;
}

// The fields in a row, filled up to `bytes`.
std::string Frame(size_t bytes, const Fields& fields) {
    std::string frame;
    unsigned bits = 0;
    for (const auto& [value, width] : fields) {
        for (unsigned bit = width; bit-- > 0; ++bits) {
            if (bits % 8 == 0)
                frame += '\0';
            frame.back() = static_cast<char>(frame.back() | static_cast<int>(value >> bit & 1) << (7 - bits % 8));
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
    return Frame(bytes,
                 {{0x7FF, 11}, {version, 2}, {layer, 2}, {1, 1}, {bitRate, 4}, {rate, 2}, {padding, 1}, {last, 9}});
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
    return Frame(bytes, {{0xFFF, 12},
                         {0, 3},
                         {hasNoChecksum, 1},
                         {profile, 2},
                         {rate, 4},
                         {0, 1},
                         {channels, 3},
                         {0, 4},
                         {static_cast<unsigned>(bytes), 13},
                         {0x7FF, 11},
                         {0, 2}});
}
std::string Loas(size_t bytes) {
    return Frame(bytes, {{0x2B7, 11}, {static_cast<unsigned>(bytes - 3), 13}});
}
std::string Ac3(size_t bytes, unsigned rate, unsigned sizeCode, unsigned version = 8) {
    return Frame(bytes, {{0x0B77, 16}, {0x1234, 16}, {rate, 2}, {sizeCode, 6}, {version, 5}, {0, 3}});
}
std::string Eac3(size_t bytes, unsigned version = 16, unsigned kind = 0, unsigned rates = 0) {
    return Frame(bytes, {{0x0B77, 16},
                         {kind, 2},
                         {0, 3},
                         {static_cast<unsigned>(bytes / 2 - 1), 11},
                         {rates, 4},
                         {7, 4},
                         {version, 5},
                         {0, 3}});
}
std::string Dts(size_t bytes, unsigned lastBlock = 15, unsigned deficit = 31) {
    return Frame(bytes, {{0x7FFE8001, 32},
                         {1, 1},
                         {deficit, 5},
                         {0, 1},
                         {lastBlock, 7},
                         {static_cast<unsigned>(bytes - 1), 14},
                         {9, 6},
                         {13, 4},
                         {24, 5},
                         {0, 10}});
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

struct Row {
    const wchar_t* expected;
    std::string content;
};

void Check(const std::vector<Row>& rows) {
    for (const Row& row : rows)
        EXPECT_EQ(row.expected, Detected(row.content)) << "row " << &row - rows.data();
}

TEST(FramesTest, FramesLinkUpAndAgreeOrAreNone) {
    const std::string x = Filling(50);
    Check({
        {L"audio/x-aac", Repeat(3, Adts(300)) + x},
        {L"audio/x-aac", Adts(8) + Adts(8191) + Adts(10) + x},
        {kNothing, Repeat(2, Adts(300)) + x},
        {L"audio/x-aac", Repeat(2, Adts(300))},
        {kNothing, Adts(300) + Adts(300, 5) + Adts(300)},
        {kNothing, Adts(300) + Adts(300, 4, 2) + Adts(300)},
        {kNothing, Adts(300) + Adts(300, 4, 1, 1, 6) + Adts(300)},
        {kNothing, Repeat(4, Adts(300, 13))},
        {L"audio/x-aac", Repeat(4, Adts(300, 12))},
        {kNothing, Repeat(4, Adts(9, 4, 1, 0))},
        {L"audio/x-aac", Repeat(4, Adts(10, 4, 1, 0)) + x},
        {L"audio/x-aac", Repeat(3, Loas(200)) + x},
        {kNothing, Repeat(2, Loas(200)) + x},
        {L"audio/x-ac3", Repeat(2, Eac3(768)) + x},
        {L"audio/x-ac3", Eac3(4096, 11) + Eac3(8) + x},
        {kNothing, Repeat(3, Eac3(768, 17))},
        {kNothing, Repeat(3, Eac3(768, 16, 3))},
        {kNothing, Repeat(3, Eac3(768, 16, 0, 15))},
        {L"audio/x-ac3", Ac3(128, 0, 0, 10) + Eac3(768) + x},
        {kNothing, Ac3(128, 0, 0) + Ac3(138, 1, 0) + x},
        {L"audio/x-dts", Repeat(2, Dts(1024)) + x},
        {L"audio/x-dts", Repeat(3, Dts(2013)) + x},  // an odd size: 1,509 kbit/s
        {L"audio/x-dts", Swapped(Repeat(2, Dts(2012))) + x},
        {L"audio/x-dts", Dts(1000) + std::string(24, '\0') + Dts(1000) + x},
        {L"audio/x-dts", Repeat(2, Dts(96, 5)) + x},
        {kNothing, Repeat(2, Dts(95))},
        {kNothing, Repeat(2, Dts(1024, 4))},
        {kNothing, Repeat(2, Dts(1024, 15, 30))},
        {L"audio/mp2", FreeFormat(2, 800)},
        {L"audio/mpeg", FreeFormat(1, 650)},
        {kNothing, FreeFormat(1, 40)},
        {kNothing, FreeFormat(3, 800)},
        {kNothing, Repeat(3, Mpeg(650, 3, 1, 0, 0)) + x},
    });
}

TEST(FramesTest, AShortChainEndsWithTheContent) {
    const std::string x = Filling(700);
    const std::string tag = "TAG" + std::string(125, ' ');
    Check({
        {L"audio/mpeg", Layer3(2)},
        {kNothing, Layer3(1)},
        {L"audio/mpeg", x + Layer3(3)},
        {kNothing, x + Layer3(2)},
        {kNothing, x + Layer3(3) + x},
        {L"audio/mpeg", x + Layer3(3) + tag},
        {L"audio/mpeg", x + Layer3(3) + Layer3(1).substr(0, 2)},
        {L"audio/mpeg", Layer3(3) + std::string(900, '\0')},
        {kNothing, Layer3(3) + "ab"},
        {L"audio/mpeg", Layer3(2) + "APETAGEX" + x},
        {L"audio/mpeg", Layer3(2) + Layer3(4, 2) + x},
        {kNothing, Layer3(2) + Layer3(3, 2) + x},
        {kNothing, Layer3(1) + Layer3(4, 2) + x},
        {L"audio/mpeg", x + Layer3(6) + Layer3(20, 1) + x},
        {kNothing, x + Layer3(6) + x},  // no more than a packet of another container holds
        {L"audio/mpeg", x + Layer3(20) + x},
        {kNothing, x + Repeat(40, Mpeg(312, 3, 3, 9, 0)) + x},  // Layer I begins as much does that is no audio
        {L"audio/x-aac", x + Repeat(5, Adts(300)) + tag},
        {kNothing, x + Repeat(2, Adts(300))},
        {kNothing, x + Repeat(7, Adts(300)) + x},
        {L"audio/x-aac", x + Repeat(8, Adts(1300)) + x},
        {L"audio/x-ac3", Ac3(768, 0, 20)},
        {L"audio/x-ac3", Eac3(768)},
        {kNothing, Eac3(768).substr(0, 767)},
        {kNothing, Ac3(768, 0, 20) + "x"},
        {L"audio/x-dts", Dts(1024)},
        {L"audio/x-aac", x + Repeat(50, Loas(200)) + x},
        {L"audio/x-ac3", x + Repeat(20, Ac3(768, 0, 20)) + x},
        {L"audio/x-dts", x + Repeat(10, Dts(1024)) + x},
        {kNothing, x + Repeat(3, Dts(4096)) + x},
        {L"audio/mpeg", std::string(100'001, '\0') + Layer3(5) + x},
        {kNothing, std::string(1 << 21, '\0') + Layer3(5)},
        {kNothing, std::string(100'000, '\0') + "RIFF\x24\0\0\0WAVEfmt \x10\0\0\0"},
    });
}

// A transport stream's packet, with what stands before and behind it in its stride.
std::string Packet(unsigned pid, size_t stride = 188, const std::string& payload = "", unsigned third = 0x10) {
    static unsigned seed = 0;
    std::string packet = std::string("\x47", 1) + static_cast<char>(payload.empty() ? pid >> 8 : pid >> 8 | 0x40) +
                         static_cast<char>(pid) + static_cast<char>(third) + payload;
    packet += Filling(188 - packet.size(), ++seed);
    return stride == 192 ? "\x20\1\2\3" + packet : packet + Filling(stride - 188);
}
std::string Packets(int count, size_t stride = 188, bool hasTable = true) {
    using namespace std::string_literals;
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
    std::vector<Row> rows;
    for (const size_t stride : {188u, 192u, 204u, 208u}) {
        rows.insert(rows.end(), {{kTs, Packets(5, stride)},
                                 {kNothing, Packets(4, stride)},
                                 {kNothing, Packets(19, stride, false)},
                                 {kTs, Packets(20, stride, false)},
                                 {kTs, x + Packets(16, stride)},
                                 {kNothing, x + Packets(15, stride)},
                                 {kNothing, x + Packets(40, stride, false)},
                                 {kTs, Packets(20, stride).substr(100)},
                                 {kTs, Packets(3, stride) + Packets(20, stride).substr(10)},
                                 {kTs, x + Packets(9, stride) + std::string(stride, 'x') + Packets(9, stride)}});
    }
    for (const int flags : {0x81, 0xC1})
        rows.push_back({kTs, changed(Packets(6), 0, 1, flags)});
    rows.push_back({kNothing, changed(Packets(5), 3, 1, 0x81)});  // four whole ones
    rows.push_back({kNothing, changed(Packets(5), 3, 3, 0x50)});  // scrambling that is kept back
    rows.push_back({kNothing, changed(Packets(5), 3, 3, 0x00)});  // neither payload nor adaptation
    rows.push_back({kNothing, changed(changed(Packets(5), 3, 3, 0x30), 3, 4, 183)});
    rows.push_back({kTs, changed(changed(Packets(5), 3, 3, 0x30), 3, 4, 182)});
    rows.push_back({kTs, changed(changed(Packets(5), 3, 3, 0x20), 3, 4, 183)});
    rows.push_back({kNothing, Packets(2) + std::string(376, 'x') + Packets(3)});  // two in a row that aren't right
    rows.push_back({kTs, Packets(4, 188, false) + Packet(0x1FFF)});
    rows.push_back({kTs, Packets(4, 188, false) + Packet(0x100, 188, std::string("\0\0\1\xE0", 4))});
    rows.push_back({kNothing, Packets(4, 188, false) + Packet(0x100, 188, std::string("\0\0\1\xB3", 4))});
    rows.push_back(
        {kNothing, Packets(4, 188, false) + Packet(0, 188, std::string("\0\1\xB0\x0D", 4))});  // another table
    rows.push_back({kNothing, Packets(4, 188, false) + Packet(0, 188, std::string("\0\0\xBF\xFE", 4))});  // too long
    rows.push_back({kNothing, std::string(65'536, 'G')});
    Check(rows);
}

TEST(FramesTest, PacksAreFoundAlsoFromTheirMiddleOn) {
    using namespace std::string_literals;
    const std::string video = "\0\0\1\xE0\1\0"s + Filling(256);
    const std::string mpeg1 = "\0\0\1\xBA\x21\0\1\0\1\x80\0\1"s + video;
    const std::string mpeg2 = "\0\0\1\xBA\x44\0\4\0\4\1\0\0\3\2"s + "\xFF\xFF" + video;
    for (const auto& [type, pack] : {std::pair(L"video/mp1s", mpeg1), std::pair(L"video/mp2p", mpeg2)}) {
        const size_t header = pack.size() - video.size();
        const std::string packet = "\0\0\1\xC0\1\0"s + (header == 12 ? "\x21" : "\x81") + Filling(255);
        Check({
            {type, pack + pack},
            {type, pack + video},
            {kNothing, pack + Filling(99)},
            {type, std::string(50, '\0') + pack + std::string(900, '\0') + pack},
            {type, pack.substr(99) + Repeat(3, pack)},
            {type, video + Repeat(3, pack)},
            {kNothing, video + Repeat(2, pack)},
            {kNothing, Filling(99) + pack + Filling(9) + pack + Filling(9) + pack},
            {type, Filling(2500) + Repeat(3, pack + std::string(30, '\0'))},
            {type, Filling(99) + Repeat(12, packet)},
            {kNothing, Filling(99) + Repeat(11, packet) + Filling(99)},
        });
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

}  // namespace
