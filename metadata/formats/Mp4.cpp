// MP4 and its predecessor, QuickTime: boxes in boxes. The first one names the file's brand, which old QuickTime files
// lack; the handlers of the tracks tell sound alone from pictures.

#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"
#include "metadata/formats/FourCc.h"

#include <optional>
#include <utility>

namespace metadata {

namespace {

constexpr int kMostBoxes = 2000;  // a limit, so that a file of empty boxes costs no time

struct Box {
    std::uint32_t type = 0;
    std::uint64_t position = 0;
    std::uint64_t content = 0;  // where it begins
    std::uint64_t end = 0;
};

// The box at `position`; empty where there is none or it is out of reach.
std::optional<Box> BoxAt(CWalk& walk, std::uint64_t position) {
    constexpr std::uint64_t kHeader = 8;
    constexpr std::uint64_t kLongHeader = 16;
    constexpr std::uint64_t kToTheEnd = 0;
    constexpr std::uint64_t kIsLong = 1;
    const CBytes bytes = walk.At(position, kLongHeader);
    const bool isLong = bytes.Be32(0) == kIsLong;
    const std::uint64_t header = isLong ? kLongHeader : kHeader;
    const std::uint64_t size = isLong ? bytes.Be64(kHeader) : bytes.Be32(0);
    const bool isToTheEnd = !isLong && size == kToTheEnd;
    if (!bytes.Has(0, header) || !IsFourCc(bytes.Be32(4)) || (!isToTheEnd && size < header))
        return std::nullopt;
    const bool hasNoEnd = isToTheEnd || size > UINT64_MAX - position;
    return Box{bytes.Be32(4), position, position + header, hasNoEnd ? UINT64_MAX : position + size};
}

template <size_t N>
bool IsAnyOf(std::uint32_t name, const char (&names)[N][5]) {
    return std::any_of(std::begin(names), std::end(names), [&](const char(&each)[5]) { return FourCc(each) == name; });
}

// What a file may begin with.
constexpr char kFirstTypes[][5] = {"ftyp", "moov", "mdat", "wide", "free", "skip",
                                   "pnot", "styp", "moof", "sidx", "emsg", "prft"};

// Still pictures, raw photographs, protected audio books: they consist of boxes as well, but none of the types stands
// for them.
constexpr char kForeignBrands[][5] = {"avif", "avis", "heic", "heix", "heim", "heis", "hevc", "hevx", "hevm",
                                      "hevs", "mif1", "mif2", "msf1", "miaf", "avci", "avcs", "jpeg", "jpgs",
                                      "crx ", "aax ", "aaxc", "jp2 ", "jpm ", "jpx ", "jxl ", "mjp2", "mj2s"};

// A brand of sound alone. A picture track beside the sound holds an audio book's chapter pictures.
constexpr char kAudioBrands[][5] = {"M4A ", "M4B ", "M4P ", "F4A ", "F4B "};

// Brands that decide where no track is to be seen.
constexpr char kKnownBrands[][5] = {"isom", "iso2", "iso3", "iso4", "iso5", "iso6", "iso7", "iso8", "iso9", "mp41",
                                    "mp42", "mp71", "avc1", "dash", "msdh", "msix", "cmfc", "cmff", "cmfs", "cmf2",
                                    "piff", "isml", "M4V ", "M4VH", "M4VP", "F4V ", "F4P ", "MSNV", "mmp4", "NDSC",
                                    "NDSH", "NDSM", "NDSP", "NDSS", "NDXC", "NDXH", "NDXM", "NDXP", "NDXS", "XAVC",
                                    "KDDI", "dby1", "f4v ", "hlsf", "ccff", "qt  "};

bool IsKnown(std::uint32_t brand) {
    const std::uint32_t family = brand >> 8;  // the phones' brands: 3gp4, 3g2a and so on
    constexpr std::uint32_t k3gp = FourCc("3gp ") >> 8;
    constexpr std::uint32_t k3g2 = FourCc("3g2 ") >> 8;
    return family == k3gp || family == k3g2 || IsAnyOf(brand, kKnownBrands) || IsAnyOf(brand, kAudioBrands);
}

struct File {
    // The brand of the file; of a piece that was cut out of a stream, the brand of that piece.
    std::uint32_t brand = 0;
    bool hasBrandBox = false;
    bool isKnown = false;          // the brand, or one that the file is compatible with
    bool hasForeignBrand = false;  // among those that it is compatible with

    bool hasTracks = false;  // of any kind
    bool hasVideo = false;
    bool hasAudio = false;
    bool areAll = false;        // the tracks were seen to the last one
    bool isCompressed = false;  // no track is to be seen: the movie is compressed, or its tracks are in other files
    bool isFragment = false;    // pieces of media whose tracks are in another file
    bool hasWideData = false;   // room for a long header right before the media, as QuickTime leaves it
    Evidence evidence;
};

void TakeBrands(CWalk& walk, const Box& box, File& file) {
    constexpr std::uint64_t kCompatible = 8;  // behind the brand and its version
    file.hasBrandBox = true;
    const std::uint64_t length = box.end - box.content;
    const CBytes bytes = walk.At(box.content, static_cast<size_t>(std::min<std::uint64_t>(length, CWalk::kMostBytes)));
    // A brand that was cut off could be any, and one that rules the file out could be among those behind the cut.
    if (length < 4 || bytes.Size() < length)
        return;
    file.brand = bytes.Be32(0);
    file.isKnown = IsKnown(file.brand);
    file.evidence = {box.position, length};
    for (std::uint64_t at = kCompatible; bytes.Has(at, 4); at += 4) {
        file.isKnown = file.isKnown || IsKnown(bytes.Be32(at));
        file.hasForeignBrand = file.hasForeignBrand || IsAnyOf(bytes.Be32(at), kForeignBrands);
    }
}

// Goes through the movie, its tracks and their media as if their boxes stood in a row.
void TakeMovie(CWalk& walk, const Box& movie, File& file) {
    std::uint64_t position = movie.content;
    for (int i = 0; i < kMostBoxes && position < movie.end; ++i) {
        const std::optional<Box> box = BoxAt(walk, position);
        if (!box)
            return;
        if (box->type == FourCc("hdlr")) {
            // Behind the version and the field where QuickTime has a kind of its own.
            constexpr std::uint64_t kHandler = 8;
            const CBytes handler = walk.At(box->content + kHandler, 4);
            file.hasTracks = file.hasTracks || IsFourCc(handler.Be32(0));
            const bool isVideo = handler.Is(0, "vide");
            if (isVideo || !file.hasVideo)
                file.evidence = {box->content + kHandler, 4};
            file.hasVideo = file.hasVideo || isVideo;
            file.hasAudio = file.hasAudio || handler.Is(0, "soun");
        }
        file.isCompressed = file.isCompressed || box->type == FourCc("cmov") || box->type == FourCc("rmra");
        const bool isOpened = box->type == FourCc("trak") || box->type == FourCc("mdia");
        position = isOpened ? box->content : box->end;
    }
    file.areAll = position >= movie.end;
}

// Where the movie stands if bytes that are no box stand before it: some writers leave a few behind the media. 0: not
// near.
std::uint64_t FindMovie(CWalk& walk, std::uint64_t from) {
    constexpr std::uint64_t kFar = 64 * 1024;
    constexpr std::uint8_t kName[] = {'m', 'o', 'o', 'v'};
    const std::uint64_t end = from + kFar;
    while (from < end) {
        const CBytes bytes = walk.At(from, CWalk::kMostBytes);
        const std::span<const std::uint8_t> span = bytes.Span();
        if (span.size() < 8)
            return 0;
        const auto found = std::search(span.begin() + 4, span.end(), std::begin(kName), std::end(kName));
        if (found != span.end()) {
            const std::uint64_t position = from + static_cast<std::uint64_t>(found - span.begin()) - 4;
            const std::optional<Box> movie = BoxAt(walk, position);
            const std::optional<Box> first = movie ? BoxAt(walk, movie->content) : std::nullopt;
            if (first && first->type == FourCc("mvhd"))
                return position;
            from = position + 5;
        } else {
            from += span.size() - 7;
        }
    }
    return 0;
}

File Read(CWalk& walk) {
    File file;
    std::uint64_t behindData = 0;
    std::uint64_t position = 0;
    for (int i = 0; i < kMostBoxes; ++i) {
        std::optional<Box> box = BoxAt(walk, position);
        if (!box && behindData != 0) {
            position = FindMovie(walk, std::exchange(behindData, 0));
            box = position != 0 ? BoxAt(walk, position) : std::nullopt;
        }
        if (!box)
            break;
        if (box->type == FourCc("mdat"))
            behindData = box->end;
        if ((box->type == FourCc("ftyp") || box->type == FourCc("styp")) && !file.hasBrandBox) {
            TakeBrands(walk, *box, file);
        } else if (box->type == FourCc("moov")) {
            TakeMovie(walk, *box, file);
            break;
        } else if (box->type == FourCc("moof")) {
            const std::optional<Box> first = BoxAt(walk, box->content);
            file.isFragment = first && first->type == FourCc("mfhd");
            // Files cut in pieces have their tracks in front of the first one.
            if (file.isFragment)
                break;
        } else if (box->type == FourCc("wide") && position == 0) {
            const std::optional<Box> next = BoxAt(walk, box->end);
            file.hasWideData = next && next->type == FourCc("mdat");
        }
        position = box->end;
    }
    return file;
}

}  // namespace

Verdict JudgeMp4(CContent& content) {
    CWalk walk(content, CWalk::Kind::Boxes);
    const std::optional<Box> first = BoxAt(walk, 0);
    if (!first || !IsAnyOf(first->type, kFirstTypes))
        return NotThere();
    const File file = Read(walk);
    const Evidence start{0, first->content};
    if (IsAnyOf(file.brand, kForeignBrands))
        return Foreign(L"boxes whose brand is of another format", file.evidence);
    if (file.hasForeignBrand && !file.hasVideo && !file.hasAudio)
        return Foreign(L"boxes with a brand of another format and no track", file.evidence);
    const bool isQuickTime = file.hasBrandBox ? file.brand == FourCc("qt  ") : !file.isFragment;
    const bool isCertain = file.hasTracks || file.isFragment || file.isCompressed || file.hasWideData || file.isKnown;
    if (!isCertain)
        return RuledOut(L"neither a known brand nor a track", start);

    const bool isAudioBrand = IsAnyOf(file.brand, kAudioBrands);
    const bool isAudio =
        isAudioBrand ? file.hasAudio || !file.hasVideo || !file.areAll : file.hasAudio && !file.hasVideo && file.areAll;
    if (isAudio) {
        const wchar_t* const reason =
            isAudioBrand ? L"boxes whose brand is one of sound alone" : L"boxes with sound alone";
        return Found(isQuickTime ? L"audio/quicktime" : L"audio/mp4", nullptr, reason, file.evidence);
    }
    const wchar_t* const reason =
        file.hasVideo ? L"boxes with a video track" : L"boxes whose tracks are not to be seen";
    return Found(isQuickTime ? L"video/quicktime" : L"video/mp4", nullptr, reason, file.evidence);
}

}  // namespace metadata
