#include "metadata/MimeTypeNames.h"

#include "base/AsciiText.h"

#include <array>
#include <cwchar>

namespace metadata {

namespace {

struct MimeTypeNames {
    const wchar_t* preferred;
    std::array<const wchar_t*, 8> others;  // null behind the last
};

// In the order of the filter's MIME table (filter/MimeTypeTable.cpp). Each type of that table is here under one of its
// names. The names are those of the IANA and freedesktop registries and of players. An audio type and a video type are
// never the same, and neither are audio/ogg and application/ogg, or video/mp4 and video/mp4v-es (though a registry has
// the second as a name of the first): different parsers take them.
constexpr MimeTypeNames kNames[] = {
    {L"audio/mp1", {L"audio/x-mp1"}},
    {L"audio/mp2", {L"audio/x-mp2"}},
    {L"audio/mpeg",
     {L"audio/mp3", L"audio/x-mp3", L"audio/x-mpeg", L"audio/x-mpg", L"audio/mpeg3", L"audio/x-mpeg-3", L"audio/mpa"}},
    {L"audio/x-aac", {L"audio/aac", L"audio/aacp", L"audio/mp4a-latm"}},
    {L"audio/x-ac3", {L"audio/ac3", L"audio/eac3"}},
    {L"audio/wav", {L"audio/x-wav", L"audio/vnd.wave", L"audio/wave"}},
    {L"audio/aiff", {L"audio/x-aiff", L"audio/x-aifc"}},
    {L"audio/midi", {L"audio/x-midi", L"audio/mid", L"audio/x-mid", L"audio/sp-midi"}},
    {L"audio/avi", {}},
    {L"audio/mp4", {L"audio/x-m4a", L"audio/m4a", L"audio/x-mp4a", L"audio/x-m4b"}},
    {L"audio/x-atrac3", {L"audio/atrac3"}},
    {L"audio/x-dts", {L"audio/vnd.dts", L"audio/dts", L"audio/vnd.dts.hd", L"audio/x-dtshd"}},
    {L"audio/quicktime", {L"audio/x-quicktime"}},
    {L"audio/x-pn-realaudio", {L"audio/vnd.rn-realaudio", L"audio/x-realaudio"}},
    {L"audio/x-ms-wma", {L"audio/wma"}},
    {L"audio/basic", {L"audio/x-au"}},
    {L"audio/lpcm", {}},
    {L"audio/l16", {}},
    {L"audio/ogg", {L"audio/x-ogg", L"audio/vorbis", L"audio/opus", L"audio/speex", L"audio/x-vorbis+ogg"}},
    // WebM is a subset of Matroska, and a parser that takes one takes the other.
    {L"audio/x-matroska", {L"audio/matroska", L"audio/webm"}},
    {L"video/avi", {L"video/x-msvideo", L"video/msvideo", L"video/vnd.avi", L"video/x-avi"}},
    {L"video/mp1s", {}},
    {L"video/mpeg", {L"video/x-mpeg", L"video/mpeg-system", L"video/x-mpeg-system"}},
    {L"video/mpeg2", {L"video/x-mpeg2"}},
    {L"video/mp2t", {L"video/mpegts"}},
    {L"video/mp2p", {}},
    {L"video/mp4v-es", {}},
    {L"video/mp4", {L"video/x-m4v"}},
    {L"video/x-pn-realmedia", {L"application/vnd.rn-realmedia", L"video/vnd.rn-realvideo"}},
    {L"video/x-ms-wmv", {}},
    {L"video/x-ms-asf", {L"application/vnd.ms-asf", L"video/x-ms-wm"}},
    {L"video/x-ms-dvr", {}},
    {L"video/x-dv", {L"video/dv"}},
    {L"video/x-motion-jpeg", {L"video/x-mjpeg"}},
    {L"video/quicktime", {L"video/x-quicktime"}},
    {L"video/ogg", {L"video/x-ogg", L"video/theora", L"video/x-ogm"}},
    {L"video/x-matroska", {L"video/matroska", L"video/webm"}},
    {L"application/ogg", {L"application/x-ogg"}},
};

struct Extension {
    const wchar_t* mime;
    const wchar_t* extension;
};

// The first row of a type has its usual extension; the first row of an extension has its most usual type.
constexpr Extension kExtensions[] = {
    {L"audio/mp1", L".mp1"},
    {L"audio/mp2", L".mp2"},
    {L"audio/mpeg", L".mp3"},
    {L"audio/mpeg", L".mpa"},
    {L"audio/x-aac", L".aac"},
    {L"audio/x-aac", L".adts"},
    {L"audio/x-aac", L".loas"},
    {L"audio/x-ac3", L".ac3"},
    {L"audio/x-ac3", L".eac3"},
    {L"audio/x-ac3", L".ec3"},
    {L"audio/wav", L".wav"},
    {L"audio/wav", L".rf64"},
    {L"audio/wav", L".bwf"},
    {L"audio/aiff", L".aiff"},
    {L"audio/aiff", L".aif"},
    {L"audio/aiff", L".aifc"},
    {L"audio/midi", L".mid"},
    {L"audio/midi", L".midi"},
    {L"audio/midi", L".rmi"},
    {L"audio/midi", L".kar"},
    {L"audio/mp4", L".m4a"},
    {L"audio/mp4", L".m4b"},
    {L"audio/mp4", L".m4p"},
    {L"audio/x-atrac3", L".aa3"},
    {L"audio/x-atrac3", L".oma"},
    {L"audio/x-atrac3", L".at3"},
    {L"audio/x-dts", L".dts"},
    {L"audio/x-dts", L".dtshd"},
    {L"audio/x-pn-realaudio", L".ra"},
    {L"audio/x-ms-wma", L".wma"},
    {L"audio/basic", L".au"},
    {L"audio/basic", L".snd"},
    {L"audio/lpcm", L".lpcm"},
    {L"audio/l16", L".l16"},
    {L"audio/ogg", L".ogg"},
    {L"audio/ogg", L".oga"},
    {L"audio/ogg", L".opus"},
    {L"audio/ogg", L".spx"},
    {L"audio/x-matroska", L".mka"},
    {L"audio/x-matroska", L".weba"},
    {L"video/avi", L".avi"},
    {L"audio/avi", L".avi"},
    {L"video/mpeg", L".mpg"},
    {L"video/mpeg", L".mpeg"},
    {L"video/mpeg", L".m1v"},
    {L"video/mpeg", L".dat"},
    {L"video/mp1s", L".mpg"},
    {L"video/mp2p", L".vob"},
    {L"video/mp2p", L".mpg"},
    {L"video/mp2p", L".mpeg"},
    {L"video/mpeg2", L".m2v"},
    {L"video/mp2t", L".ts"},
    {L"video/mp2t", L".m2ts"},
    {L"video/mp2t", L".mts"},
    {L"video/mp2t", L".m2t"},
    {L"video/mp4", L".mp4"},
    {L"video/mp4", L".m4v"},
    {L"video/mp4", L".3gp"},
    {L"video/mp4", L".3g2"},
    {L"video/mp4", L".f4v"},
    {L"video/mp4v-es", L".m4v"},
    {L"video/x-pn-realmedia", L".rm"},
    {L"video/x-pn-realmedia", L".rmvb"},
    {L"audio/x-pn-realaudio", L".rm"},
    {L"video/x-ms-wmv", L".wmv"},
    {L"video/x-ms-asf", L".asf"},
    {L"video/x-ms-dvr", L".dvr-ms"},
    {L"video/x-dv", L".dv"},
    {L"video/x-dv", L".dif"},
    {L"video/x-motion-jpeg", L".mjpeg"},
    {L"video/x-motion-jpeg", L".mjpg"},
    {L"video/quicktime", L".mov"},
    {L"video/quicktime", L".qt"},
    {L"audio/quicktime", L".mov"},
    {L"video/ogg", L".ogv"},
    {L"video/ogg", L".ogm"},
    {L"video/x-matroska", L".mkv"},
    {L"video/x-matroska", L".webm"},
    {L"audio/x-matroska", L".webm"},
    {L"application/ogg", L".ogx"},
};

// The next character that counts, in lower case; zero at the end and at the parameters.
wchar_t NextOf(const wchar_t*& text) noexcept {
    while (*text == L' ' || (*text >= L'\t' && *text <= L'\r'))
        ++text;
    if (*text == L'\0' || *text == L';')
        return L'\0';
    return base::AsciiLower(*text++);
}

bool IsSameText(const wchar_t* one, const wchar_t* other) noexcept {
    for (;;) {
        const wchar_t c = NextOf(one);
        if (c != NextOf(other))
            return false;
        if (c == L'\0')
            return true;
    }
}

const MimeTypeNames* NamesOf(const wchar_t* mime) noexcept {
    for (const MimeTypeNames& names : kNames) {
        if (IsSameText(names.preferred, mime))
            return &names;
        for (const wchar_t* const other : names.others) {
            if (other && IsSameText(other, mime))
                return &names;
        }
    }
    return nullptr;
}

bool HasPrefix(const wchar_t* mime, const wchar_t* prefix) noexcept {
    for (; *prefix; ++prefix) {
        if (NextOf(mime) != *prefix)
            return false;
    }
    return true;
}

}  // namespace

bool IsSameMimeType(const wchar_t* one, const wchar_t* other) noexcept {
    const MimeTypeNames* const names = NamesOf(one);
    return names ? names == NamesOf(other) : IsSameText(one, other);
}

const wchar_t* CanonicalMimeType(const wchar_t* mime) noexcept {
    const MimeTypeNames* const names = NamesOf(mime);
    return names ? names->preferred : nullptr;
}

std::vector<std::wstring> NamesOfMimeType(const wchar_t* mime) {
    std::vector<std::wstring> all;
    if (const MimeTypeNames* const names = NamesOf(mime)) {
        all.emplace_back(names->preferred);
        for (const wchar_t* const other : names->others) {
            if (other)
                all.emplace_back(other);
        }
    }
    return all;
}

std::vector<std::wstring> KnownMimeTypes() {
    std::vector<std::wstring> all;
    for (const MimeTypeNames& names : kNames)
        all.emplace_back(names.preferred);
    return all;
}

bool IsMediaType(const wchar_t* mime) noexcept {
    return NamesOf(mime) || HasPrefix(mime, L"audio/") || HasPrefix(mime, L"video/");
}

const wchar_t* ExtensionOfMimeType(const wchar_t* mime) noexcept {
    const wchar_t* const preferred = CanonicalMimeType(mime);
    for (const Extension& row : kExtensions) {
        if (preferred && std::wcscmp(row.mime, preferred) == 0)
            return row.extension;
    }
    return nullptr;
}

std::vector<std::wstring> MimeTypesOfExtension(const wchar_t* extension) {
    std::vector<std::wstring> types;
    for (const Extension& row : kExtensions) {
        if (IsSameText(*extension == L'.' ? row.extension : row.extension + 1, extension))
            types.emplace_back(row.mime);
    }
    return types;
}

}  // namespace metadata
