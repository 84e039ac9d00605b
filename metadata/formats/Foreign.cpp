// Formats without a type in the table, whose content may look like a format that has one: archives, programs and
// containers with audio frames in them, pictures whose rows repeat what looks like a frame's start.
#include "metadata/FormatRules.h"

#include <string_view>

namespace metadata {

namespace {

using namespace std::string_view_literals;

struct Signature {
    size_t offset;
    std::string_view bytes;
    const wchar_t* name;
};

// A format that a rule of the table answers for doesn't belong here. Nor does a format that begins like one: JPEG is
// missing because Motion JPEG begins so.
constexpr Signature kSignatures[] = {
    // Audio and video.
    {0, "fLaC"sv, L"FLAC"},
    {0, "FLV\x01"sv, L"Flash video"},
    {0, "wvpk"sv, L"WavPack"},
    {0, "MAC "sv, L"Monkey's Audio"},
    {0, "TTA1"sv, L"True Audio"},
    {0, "TTA2"sv, L"True Audio"},
    {0, "MP+"sv, L"Musepack"},
    {0, "MPCK"sv, L"Musepack"},
    {0, "OFR "sv, L"OptimFROG"},
    {0, "ajkg"sv, L"Shorten"},
    {0, "TWIN97012000"sv, L"TwinVQ"},
    {0, "DSD "sv, L"DSD"},
    {0, "FRM8"sv, L"DSDIFF"},
    {0, "#!AMR"sv, L"AMR"},
    {0, "caff\0\x01"sv, L"Core Audio"},
    {0, "riff\x2E\x91\xCF\x11"sv, L"Wave64"},
    {8, "8SVX"sv, L"8SVX"},
    {0, "NSVf"sv, L"NSV"},
    {0, "NSVs"sv, L"NSV"},
    {0, "nut/multimedia container\0"sv, L"NUT"},
    {0, "DKIF\0\0"sv, L"IVF"},
    {0, "YUV4MPEG2 "sv, L"YUV4MPEG2"},
    {0, "BIKi"sv, L"Bink"},
    {0, "SMK2"sv, L"Smacker"},
    {0, "SMK4"sv, L"Smacker"},
    {0, "FSB4"sv, L"FMOD sample bank"},
    {0, "FSB5"sv, L"FMOD sample bank"},
    {0, "\x06\x0E\x2B\x34\x02\x05\x01\x01\x0D\x01\x02\x01\x01"sv, L"MXF"},
    {0, "\xB7\xD8\x00\x20\x37\x49\xDA\x11\xA6\x4E\x00\x07\xE9\x5E\xAD\x8D"sv, L"WTV"},
    {0, "Extended Module: "sv, L"tracker module"},
    {0, "IMPM"sv, L"tracker module"},
    {44, "SCRM"sv, L"tracker module"},
    {0, "MO3"sv, L"tracker module"},
    // Archives and file systems.
    {0, "PK\x03\x04"sv, L"ZIP"},
    {0, "PK\x05\x06"sv, L"ZIP"},
    {0, "PK\x07\x08"sv, L"ZIP"},
    {0, "\x1F\x8B\x08"sv, L"gzip"},
    {4, "1AY&SY"sv, L"bzip2"},
    {0,
     "\xFD"
     "7zXZ\0"sv,
     L"xz"},
    {0, "\x28\xB5\x2F\xFD"sv, L"Zstandard"},
    {0, "\x04\x22\x4D\x18"sv, L"LZ4"},
    {0, "7z\xBC\xAF\x27\x1C"sv, L"7-Zip"},
    {0, "Rar!\x1A\x07"sv, L"RAR"},
    {257, "ustar"sv, L"tar"},
    {0, "070701"sv, L"cpio"},
    {0, "070707"sv, L"cpio"},
    {0, "!<arch>\n"sv, L"ar"},
    {0, "MSCF\0\0\0\0"sv, L"cabinet"},
    {0, "ISc("sv, L"InstallShield cabinet"},
    {0, "ITSF\x03\0\0\0"sv, L"compiled help"},
    {0, "xar!"sv, L"xar"},
    {0, "\xED\xAB\xEE\xDB"sv, L"RPM"},
    {0, "hsqs"sv, L"SquashFS"},
    {32769, "CD001"sv, L"ISO 9660"},
    // Programs.
    {0,
     "\x7F"
     "ELF"sv,
     L"ELF"},
    {0, "\xFE\xED\xFA\xCE"sv, L"Mach-O"},
    {0, "\xFE\xED\xFA\xCF"sv, L"Mach-O"},
    {0, "\xCE\xFA\xED\xFE"sv, L"Mach-O"},
    {0, "\xCF\xFA\xED\xFE"sv, L"Mach-O"},
    {0, "\xCA\xFE\xBA\xBE"sv, L"Java class or Mach-O"},
    {0, "\xCA\xFE\xD0\x0D"sv, L"packed Java classes"},
    {0, "dex\n03"sv, L"DEX"},
    {0, "\0asm"sv, L"WebAssembly"},
    {0, "BC\xC0\xDE"sv, L"LLVM bitcode"},
    {0, "FWS"sv, L"Flash"},
    {0, "CWS"sv, L"Flash"},
    {0, "ZWS"sv, L"Flash"},
    // Documents, data and fonts.
    {0, "%PDF-"sv, L"PDF"},
    {0, "%!PS"sv, L"PostScript"},
    {0, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, L"OLE compound document"},
    {0, "{\\rtf"sv, L"RTF"},
    {0, "SQLite format 3\0"sv, L"SQLite"},
    {4, "Standard Jet DB"sv, L"Jet database"},
    {4, "Standard ACE DB"sv, L"ACE database"},
    {0, "\x89HDF\r\n\x1A\n"sv, L"HDF5"},
    {0, "\x93NUMPY"sv, L"NumPy"},
    {0, "OTTO\0"sv, L"OpenType"},
    {0, "wOFF"sv, L"WOFF"},
    {0, "wOF2"sv, L"WOFF"},
    // Pictures.
    {0, "GIF8"sv, L"GIF"},
    {0, "\x89PNG\r\n\x1A\n"sv, L"PNG"},
    {0, "II*\0"sv, L"TIFF"},
    {0, "MM\0*"sv, L"TIFF"},
    {0, "II+\0"sv, L"TIFF"},
    {0, "8BPS\0"sv, L"Photoshop"},
    {0, "gimp xcf "sv, L"GIMP"},
    {0, "DDS \x7C\0\0\0"sv, L"DirectDraw surface"},
    {0, "\xD7\xCD\xC6\x9A"sv, L"Windows metafile"},
    {40, " EMF"sv, L"enhanced metafile"},
};

// RIFF files that hold none of what the table has: pictures, cursors, sound fonts, palettes, other codecs' audio.
constexpr std::string_view kOtherRiffs[] = {"WEBP"sv, "ACON"sv, "sfbk"sv, "DLS "sv, "PAL "sv,
                                            "RDIB"sv, "XWMA"sv, "QLCM"sv, "CDDA"sv};

bool Stands(CBytes head, size_t at, std::string_view bytes) {
    const std::span<const std::uint8_t> there = head.From(at, bytes.size()).Span();
    return std::equal(there.begin(), there.end(), bytes.begin(), bytes.end(),
                      [](std::uint8_t a, char b) { return a == static_cast<std::uint8_t>(b); });
}

// Two letters are not enough: the header of the program proper must stand at the place that is given for it, too.
bool IsProgram(CBytes head) {
    return head.Is(0, "MZ") && head.Is(head.Le32(0x3C), "PE\0\0");
}

bool IsBitmap(CBytes head) {
    const std::uint32_t headerBytes = head.Le32(14);
    return head.Is(0, "BM") && head.Le32(6) == 0 && headerBytes >= 12 && headerBytes <= 124 &&
           head.Le32(10) >= headerBytes + 14;
}

}  // namespace

Verdict JudgeForeign(CContent& content) {
    const CBytes head = content.Head();
    for (const Signature& signature : kSignatures) {
        if (Stands(head, signature.offset, signature.bytes))
            return Foreign(signature.name, {signature.offset, signature.bytes.size()});
    }
    for (const std::string_view form : kOtherRiffs) {
        if (head.Is(0, "RIFF") && Stands(head, 8, form))
            return Foreign(L"RIFF of another kind", {0, 12});
    }
    if (IsProgram(head))
        return Foreign(L"Windows program", {head.Le32(0x3C), 4});
    return IsBitmap(head) ? Foreign(L"bitmap", {0, 18}) : NotThere();
}

}  // namespace metadata
