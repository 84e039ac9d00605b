#include "filter/MimeTypeTable.h"

#include "baseclasses/StreamSubtypes.h"

namespace filter {

namespace {

// The platform's stream subtypes, as its headers uuids.h and ksuuids.h have them.
constexpr GUID kMpeg1Audio = {0xE436EB87, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kDolbyAc3 = {0xE06D802C, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};
constexpr GUID kWave = {0xE436EB8B, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kAiff = {0xE436EB8D, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
// The platform's MIDI stream is a major type; the MIDI parser takes it as a subtype of a stream.
constexpr GUID kMidi = {0x7364696D, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
constexpr GUID kAvi = {0xE436EB88, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kNone = {};
constexpr GUID kMpeg1System = {0xE436EB84, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kMpeg1VideoCd = {0xE436EB85, 0x524F, 0x11CE, {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
constexpr GUID kMpeg2Program = {0xE06D8022, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};
constexpr GUID kMpeg2Transport = {0xE06D8023, 0xDB46, 0x11CF, {0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA}};

// Duplicates are part of the table: a host that counts the offers of a type finds as many as there are rows.
constexpr MimeTypeRow kRows[] = {
    {L"audio/mp1", kMpeg1Audio},
    {L"audio/mp2", kMpeg1Audio},
    {L"audio/mpeg", kMpeg1Audio},
    {L"audio/x-aac", kMpeg1Audio},
    {L"audio/x-ac3", kDolbyAc3},
    {L"audio/x-ogg", kOggSubtype},
    {L"audio/wav", kWave},
    {L"audio/aiff", kAiff},
    {L"audio/midi", kMidi},
    {L"audio/avi", kAvi},
    {L"audio/mp4", kNone},
    {L"audio/x-atrac3", kNone},
    {L"audio/x-dts", kNone},
    {L"audio/quicktime", kNone},
    {L"audio/x-quicktime", kNone},
    {L"audio/x-pn-realaudio", kNone},
    {L"audio/x-atrac3", kNone},
    {L"audio/x-dts", kNone},
    {L"audio/x-ms-wma", kNone},
    {L"audio/basic", kNone},
    {L"audio/lpcm", kNone},
    {L"audio/l16", kNone},
    {L"audio/x-ogg", kOggSubtype},
    {L"audio/ogg", kOggSubtype},
    {L"audio/x-matroska", kNone},
    {L"video/avi", kAvi},
    {L"video/mp1s", kMpeg1System},
    {L"video/mpeg", kMpeg1System},
    {L"video/mpeg", kMpeg1VideoCd},
    {L"video/mpeg", kNone},
    {L"video/mpeg2", kMpeg2Program},
    {L"video/mpeg2", kMpeg2Transport},
    {L"video/mp2t", kMpeg2Transport},
    {L"video/mp2p", kMpeg2Program},
    {L"video/mp4v-es", kNone},
    {L"video/mp4", kNone},
    {L"video/x-pn-realmedia", kNone},
    {L"video/x-ms-wmv", kNone},
    {L"video/x-ms-asf", kNone},
    {L"video/x-ms-dvr", kNone},
    {L"video/x-dv", kNone},
    {L"video/x-motion-jpeg", kNone},
    {L"video/quicktime", kNone},
    {L"video/x-quicktime", kNone},
    {L"video/x-ogg", kOggSubtype},
    {L"video/ogg", kOggSubtype},
    {L"video/x-matroska", kNone},
    {L"application/x-ogg", kOggSubtype},
    {L"application/ogg", kOggSubtype},
};

}  // namespace

std::span<const MimeTypeRow> MimeTypeTable() noexcept {
    return kRows;
}

}  // namespace filter
