#include "tvsource/graph/ConnectionText.h"

#include "base/FormatText.h"
#include "tvsource/source/MediaTypes.h"

#include <amvideo.h>
#include <dvdmedia.h>
#include <mmreg.h>
#include <uuids.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>

namespace tvsource {

namespace {

const struct {
    const GUID& subtype;
    const wchar_t* name;
} kPictureTypes[] = {
    {MEDIASUBTYPE_RGB8, L"RGB8"},          {MEDIASUBTYPE_RGB555, L"RGB555"},
    {MEDIASUBTYPE_RGB565, L"RGB565"},      {MEDIASUBTYPE_RGB24, L"RGB24"},
    {MEDIASUBTYPE_RGB32, L"RGB32"},        {MEDIASUBTYPE_ARGB32, L"ARGB32"},
    {MEDIASUBTYPE_MPEG1Packet, L"MPEG-1"}, {MEDIASUBTYPE_MPEG1Payload, L"MPEG-1"},
    {MEDIASUBTYPE_MPEG2_VIDEO, L"MPEG-2"},
};

// Subtypes that stand for four characters or for a format tag differ from this one in their first number alone.
bool HasCode(GUID subtype) {
    subtype.Data1 = MEDIASUBTYPE_PCM.Data1;
    return subtype == MEDIASUBTYPE_PCM;
}

std::wstring VideoName(const GUID& subtype) {
    const auto* const found = std::find_if(std::begin(kPictureTypes), std::end(kPictureTypes),
                                           [&](auto& row) { return row.subtype == subtype; });
    if (found != std::end(kPictureTypes))
        return found->name;
    std::wstring code;
    for (unsigned shift = 0; shift < 32; shift += 8)
        code += static_cast<wchar_t>(subtype.Data1 >> shift & 0xFF);
    const bool isText = std::all_of(code.begin(), code.end(), [](wchar_t c) { return c >= L' ' && c < 0x7F; });
    return HasCode(subtype) && isText ? code : GuidText(subtype);
}

std::wstring AudioName(const GUID& subtype) {
    if (subtype == MEDIASUBTYPE_PCM)
        return L"PCM";
    if (subtype == MEDIASUBTYPE_IEEE_FLOAT)
        return L"float";
    if (subtype == MEDIASUBTYPE_MPEG1AudioPayload || subtype == MEDIASUBTYPE_MPEG1Packet ||
        (HasCode(subtype) && subtype.Data1 == WAVE_FORMAT_MPEGLAYER3))
        return L"MPEG";
    return HasCode(subtype) ? base::FormatText(L"0x%04X", static_cast<unsigned>(subtype.Data1)) : GuidText(subtype);
}

// The beginning of the format block, if it is that long. It may stand at any address.
template <class Format>
std::optional<Format> FormatOf(const AM_MEDIA_TYPE& type, const GUID& kind) {
    if (type.formattype != kind || !type.pbFormat || type.cbFormat < sizeof(Format))
        return std::nullopt;
    Format format;
    std::memcpy(&format, type.pbFormat, sizeof format);
    return format;
}

std::wstring SizeText(const BITMAPINFOHEADER& header) {
    return base::FormatText(
        L" %dx%u", static_cast<int>(header.biWidth),
        header.biHeight < 0 ? 0u - static_cast<unsigned>(header.biHeight) : static_cast<unsigned>(header.biHeight));
}

}  // namespace

std::wstring ConnectionText(const AM_MEDIA_TYPE& type) {
    if (type.majortype == MEDIATYPE_Video) {
        const auto one = FormatOf<VIDEOINFOHEADER>(type, FORMAT_VideoInfo);
        const auto two = FormatOf<VIDEOINFOHEADER2>(type, FORMAT_VideoInfo2);
        return L"video " + VideoName(type.subtype) +
               (one   ? SizeText(one->bmiHeader)
                : two ? SizeText(two->bmiHeader)
                      : L"");
    }
    if (type.majortype == MEDIATYPE_Audio) {
        const auto wave = FormatOf<WAVEFORMATEX>(type, FORMAT_WaveFormatEx);
        return L"audio " + AudioName(type.subtype) +
               (wave ? base::FormatText(L" %u Hz %u ch", static_cast<unsigned>(wave->nSamplesPerSec),
                                        static_cast<unsigned>(wave->nChannels))
                     : L"");
    }
    return TypeText({type.majortype, type.subtype});
}

}  // namespace tvsource
