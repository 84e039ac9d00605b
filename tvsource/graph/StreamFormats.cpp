#include "tvsource/graph/StreamFormats.h"

#include "base/ForeignCalls.h"
#include "base/FormatText.h"
#include "console/CCommandError.h"
#include "console/Text.h"
#include "tvsource/source/MediaTypes.h"

#include <amvideo.h>
#include <dvdmedia.h>
#include <mmreg.h>
#include <uuids.h>
#include <wrl/client.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

constexpr DWORD FourCC(const char (&text)[5]) {
    DWORD value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | static_cast<BYTE>(text[i]);
    return value;
}

// Subtypes that a four-character code or a wave format tag makes: the code, and always the same rest.
struct CodecName {
    StreamKind kind;
    DWORD code;
    const wchar_t* name;
};

constexpr StreamKind kVideo = StreamKind::Video;
constexpr StreamKind kAudio = StreamKind::Audio;

const CodecName kCodecs[] = {
    {kVideo, FourCC("MJPG"), L"Motion JPEG"},
    {kVideo, FourCC("H264"), L"H.264"},
    {kVideo, FourCC("h264"), L"H.264"},
    {kVideo, FourCC("AVC1"), L"H.264"},
    {kVideo, FourCC("avc1"), L"H.264"},
    {kVideo, FourCC("X264"), L"H.264"},
    {kVideo, FourCC("HEVC"), L"H.265"},
    {kVideo, FourCC("H265"), L"H.265"},
    {kVideo, FourCC("HVC1"), L"H.265"},
    {kVideo, FourCC("hvc1"), L"H.265"},
    {kVideo, FourCC("AV01"), L"AV1"},
    {kVideo, FourCC("VP80"), L"VP8"},
    {kVideo, FourCC("VP90"), L"VP9"},
    {kVideo, FourCC("XVID"), L"MPEG-4 Part 2"},
    {kVideo, FourCC("DIVX"), L"MPEG-4 Part 2"},
    {kVideo, FourCC("DX50"), L"MPEG-4 Part 2"},
    {kVideo, FourCC("FMP4"), L"MPEG-4 Part 2"},
    {kVideo, FourCC("mp4v"), L"MPEG-4 Part 2"},
    {kVideo, FourCC("MP4V"), L"MPEG-4 Part 2"},
    {kVideo, FourCC("WMV3"), L"Windows Media Video 9"},
    {kVideo, FourCC("WVC1"), L"VC-1"},
    {kVideo, FourCC("cvid"), L"Cinepak"},
    {kVideo, FourCC("dvsd"), L"DV"},
    {kVideo, FourCC("YUY2"), L"uncompressed YUY2"},
    {kVideo, FourCC("UYVY"), L"uncompressed UYVY"},
    {kVideo, FourCC("YV12"), L"uncompressed YV12"},
    {kVideo, FourCC("I420"), L"uncompressed I420"},
    {kVideo, FourCC("NV12"), L"uncompressed NV12"},
    {kVideo, FourCC("AYUV"), L"uncompressed AYUV"},
    {kAudio, 0x0001, L"PCM"},
    {kAudio, 0x0002, L"Microsoft ADPCM"},
    {kAudio, 0x0003, L"PCM, floating point"},
    {kAudio, 0x0006, L"A-law"},
    {kAudio, 0x0007, L"\u00B5-law"},
    {kAudio, 0x0011, L"IMA ADPCM"},
    {kAudio, 0x0050, L"MPEG audio"},
    {kAudio, 0x0055, L"MP3"},
    {kAudio, 0x00FF, L"AAC"},
    {kAudio, 0x0160, L"Windows Media Audio 1"},
    {kAudio, 0x0161, L"Windows Media Audio"},
    {kAudio, 0x1600, L"AAC (ADTS)"},
    {kAudio, 0x2000, L"AC-3"},
    {kAudio, 0x704F, L"Opus"},
    {kAudio, 0xF1AC, L"FLAC"},
};

const struct {
    const GUID& subtype;
    const wchar_t* name;
} kOtherNames[] = {
    {MEDIASUBTYPE_RGB1, L"uncompressed RGB, 1 bit"},     {MEDIASUBTYPE_RGB4, L"uncompressed RGB, 4 bits"},
    {MEDIASUBTYPE_RGB8, L"uncompressed RGB, 8 bits"},    {MEDIASUBTYPE_RGB555, L"uncompressed RGB, 15 bits"},
    {MEDIASUBTYPE_RGB565, L"uncompressed RGB, 16 bits"}, {MEDIASUBTYPE_RGB24, L"uncompressed RGB, 24 bits"},
    {MEDIASUBTYPE_RGB32, L"uncompressed RGB, 32 bits"},  {MEDIASUBTYPE_ARGB32, L"uncompressed ARGB"},
    {MEDIASUBTYPE_MPEG1Payload, L"MPEG-1 video"},        {MEDIASUBTYPE_MPEG1Packet, L"MPEG-1 packets"},
    {MEDIASUBTYPE_MPEG1AudioPayload, L"MPEG audio"},     {MEDIASUBTYPE_MPEG2_VIDEO, L"MPEG-2 video"},
    {MEDIASUBTYPE_MPEG2_AUDIO, L"MPEG-2 audio"},         {MEDIASUBTYPE_DOLBY_AC3, L"AC-3"},
};

bool IsMadeOfCode(const GUID& subtype) {
    GUID rest = MEDIASUBTYPE_YUY2;  // any of them
    rest.Data1 = subtype.Data1;
    return rest == subtype;
}

std::wstring CodeTextOf(const StreamFormat& format) {
    if (!IsMadeOfCode(format.subtype))
        return {};
    const DWORD code = format.subtype.Data1;
    if (code <= 0xFFFF)
        return base::FormatText(L"0x%04X", static_cast<unsigned>(code));
    std::wstring text;
    for (DWORD rest = code; rest != 0; rest >>= 8)
        text += static_cast<wchar_t>(rest & 0xFF);
    return std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L' ' && c < 0x7F; }) ? text : L"";
}

std::wstring CodecOf(const StreamFormat& format) {
    for (const auto& row : kOtherNames) {
        if (row.subtype == format.subtype)
            return row.name;
    }
    for (const CodecName& row : kCodecs) {
        if (IsMadeOfCode(format.subtype) && row.kind == format.kind && row.code == format.subtype.Data1)
            return row.name;
    }
    return {};
}

template <class Block>
const Block* BlockOf(const AM_MEDIA_TYPE& type) {
    return type.pbFormat && type.cbFormat >= sizeof(Block) ? reinterpret_cast<const Block*>(type.pbFormat) : nullptr;
}

// Both kinds of video header, which have these in common.
template <class Header>
void TakePicture(const AM_MEDIA_TYPE& type, StreamFormat& format) {
    const auto* const header = BlockOf<Header>(type);
    if (!header)
        return;
    format.width = header->bmiHeader.biWidth;
    format.height = std::abs(LONGLONG{header->bmiHeader.biHeight});  // negative: the lines begin at the top
    if (header->AvgTimePerFrame > 0)
        format.frameRate = 1e7 / static_cast<double>(header->AvgTimePerFrame);
    if (header->bmiHeader.biBitCount > 0)
        format.bits = header->bmiHeader.biBitCount;
}

void TakeSound(const AM_MEDIA_TYPE& type, StreamFormat& format) {
    const auto* const header = BlockOf<PCMWAVEFORMAT>(type);  // the part that is always there
    if (!header)
        return;
    format.sampleRate = header->wf.nSamplesPerSec;
    format.channels = header->wf.nChannels;
    if (header->wBitsPerSample > 0)
        format.bits = header->wBitsPerSample;
}

const char* KindName(StreamKind kind) {
    if (kind == StreamKind::Video)
        return "video";
    return kind == StreamKind::Audio ? "audio" : "other";
}

template <class Value>
console::Json JsonOr(const std::optional<Value>& value) {
    return value ? console::Json(*value) : console::Json();
}

console::Json JsonTextOr(const std::wstring& text) {
    return text.empty() ? console::Json() : console::JsonText(text);
}

}  // namespace

StreamFormat FormatOf(const AM_MEDIA_TYPE& type) {
    StreamFormat format;
    format.major = type.majortype;
    format.subtype = type.subtype;
    if (type.majortype == MEDIATYPE_Video)
        format.kind = StreamKind::Video;
    else if (type.majortype == MEDIATYPE_Audio)
        format.kind = StreamKind::Audio;
    if (type.formattype == FORMAT_VideoInfo || type.formattype == FORMAT_MPEGVideo)
        TakePicture<VIDEOINFOHEADER>(type, format);
    else if (type.formattype == FORMAT_VideoInfo2 || type.formattype == FORMAT_MPEG2_VIDEO)
        TakePicture<VIDEOINFOHEADER2>(type, format);
    else if (type.formattype == FORMAT_WaveFormatEx)
        TakeSound(type, format);
    format.code = CodeTextOf(format);
    format.codec = CodecOf(format);
    return format;
}

StreamFormat FormatOf(IPin* pin) {
    ComPtr<IEnumMediaTypes> types;
    AM_MEDIA_TYPE* first = nullptr;
    if (FAILED(base::Receive(types, pin, &IPin::EnumMediaTypes)) || types->Next(1, &first, nullptr) != S_OK)
        return {};
    return FormatOf(*MediaTypePtr(first));
}

std::wstring FormatText(const StreamFormat& format) {
    std::wstring text = base::WideOfUtf8(KindName(format.kind));
    text +=
        L": " + (format.codec.empty() ? format.code.empty() ? GuidText(format.subtype) : format.code : format.codec);
    // A tag that is no text says nothing beside a name.
    if (format.kind == StreamKind::Video && !format.codec.empty() && !format.codec.ends_with(format.code))
        text += L" (" + format.code + L")";
    if (format.width && format.height)
        text += base::FormatText(L", %I64dx%I64d", *format.width, *format.height);
    if (format.frameRate)
        text += base::FormatText(L", %.4g frames/s", *format.frameRate);
    if (format.sampleRate)
        text += base::FormatText(L", %lu Hz", *format.sampleRate);
    if (format.channels)
        text += L", " + console::CountText(static_cast<LONGLONG>(*format.channels), L"channel");
    if (format.bits && format.kind == StreamKind::Audio)
        text += base::FormatText(L", %lu bits", *format.bits);
    return text;
}

std::wstring StreamText(const ParserStream& stream) {
    std::wstring text = stream.pin + L" (" + FormatText(stream.format) + L")";
    for (const std::wstring& filter : stream.route)
        text += L" -> " + filter;
    return FAILED(stream.result) ? text + L" left out: " + console::ResultText(stream.result) : text;
}

console::Json JsonStream(const ParserStream& stream) {
    const StreamFormat& format = stream.format;
    console::Json object{{"pin", console::JsonText(stream.pin)},
                         {"kind", KindName(format.kind)},
                         {"major", console::JsonText(GuidText(format.major))},
                         {"subtype", console::JsonText(GuidText(format.subtype))},
                         {"codecCode", JsonTextOr(format.code)},
                         {"codec", JsonTextOr(format.codec)}};
    if (format.kind == StreamKind::Video) {
        object["width"] = JsonOr(format.width);
        object["height"] = JsonOr(format.height);
        object["frameRate"] = JsonOr(format.frameRate);
    } else if (format.kind == StreamKind::Audio) {
        object["sampleRate"] = JsonOr(format.sampleRate);
        object["channels"] = JsonOr(format.channels);
    }
    object["bits"] = JsonOr(format.bits);
    object["route"] = console::JsonTexts(stream.route);
    if (FAILED(stream.result))
        object["code"] = console::JsonText(console::CodeText(stream.result));
    return object;
}

console::Json JsonStreams(const std::vector<ParserStream>& streams) {
    console::Json array = console::Json::array();
    for (const ParserStream& stream : streams)
        array.push_back(JsonStream(stream));
    return array;
}

}  // namespace tvsource
