// Matroska and its subset webm: a header that names the document's kind, and one segment whose track list tells sound
// alone from pictures.

#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"

#include <bit>
#include <optional>
#include <utility>

namespace metadata {

namespace {

constexpr std::uint32_t kHeader = 0x1A45DFA3;
constexpr std::uint32_t kDocType = 0x4282;
constexpr std::uint32_t kSegment = 0x18538067;
constexpr std::uint32_t kSeekHead = 0x114D9B74;
constexpr std::uint32_t kSeek = 0x4DBB;
constexpr std::uint32_t kSeekId = 0x53AB;
constexpr std::uint32_t kSeekPosition = 0x53AC;
constexpr std::uint32_t kTracks = 0x1654AE6B;
constexpr std::uint32_t kTrackEntry = 0xAE;
constexpr std::uint32_t kTrackType = 0x83;
constexpr std::uint32_t kCluster = 0x1F43B675;
constexpr std::uint32_t kFirstOfFourBytes = 0x10000000;  // the segment's own parts have such long identifiers

constexpr int kMostElements = 2000;  // a limit, so that a file of empty elements costs no time

struct Element {
    std::uint32_t id = 0;
    std::uint64_t content = 0;          // where it begins
    std::optional<std::uint64_t> size;  // of the content; a live writer doesn't know it
};

std::uint64_t UnsignedAt(CBytes bytes, std::uint64_t at, std::uint64_t length) {
    std::uint64_t value = 0;
    for (std::uint64_t i = 0; i < length; ++i)
        value = value << 8 | bytes.U8(at + i);
    return value;
}

// The element at `position`; empty where there is none or it is out of reach. The zeros before the first set bit of an
// identifier or a size say how many bytes it has.
std::optional<Element> ElementAt(CWalk& walk, std::uint64_t position) {
    constexpr int kLongestId = 4;
    constexpr int kLongestSize = 8;
    const CBytes bytes = walk.At(position, kLongestId + kLongestSize);
    const auto idLength = static_cast<std::uint64_t>(std::countl_zero(bytes.U8(0)) + 1);
    const auto sizeLength = static_cast<std::uint64_t>(std::countl_zero(bytes.U8(idLength)) + 1);
    if (idLength > kLongestId || sizeLength > kLongestSize || !bytes.Has(0, idLength + sizeLength))
        return std::nullopt;
    const std::uint64_t mask = (std::uint64_t{1} << 7 * sizeLength) - 1;
    const std::uint64_t size = UnsignedAt(bytes, idLength, sizeLength) & mask;
    Element element{static_cast<std::uint32_t>(UnsignedAt(bytes, 0, idLength)), position + idLength + sizeLength, {}};
    if (size != mask)
        element.size = size;
    return element;
}

// The element's content as a number, if it has a number's length.
std::optional<std::uint64_t> NumberIn(CWalk& walk, const Element& element) {
    const std::uint64_t size = element.size.value_or(0);
    const CBytes bytes = walk.At(element.content, static_cast<size_t>(std::min<std::uint64_t>(size, 8)));
    if (size == 0 || size > 8 || !bytes.Has(0, size))
        return std::nullopt;
    return UnsignedAt(bytes, 0, size);
}

// Whether the document's kind, which may be filled up with zeros, is one that is known.
bool IsKnownKind(CWalk& walk, const Element& header) {
    constexpr std::uint64_t kMostHeader = 4096;
    constexpr std::uint64_t kMostKind = 64;
    const std::uint64_t end = header.content + std::min(header.size.value_or(0), kMostHeader);
    std::uint64_t position = header.content;
    while (position < end) {
        const std::optional<Element> element = ElementAt(walk, position);
        if (!element || !element->size)
            return false;
        if (element->id == kDocType) {
            const CBytes kind = walk.At(element->content, static_cast<size_t>(std::min(*element->size, kMostKind)));
            const auto ends = [&](size_t length) { return kind.Size() == *element->size && kind.U8(length) == 0; };
            return (kind.Is(0, "matroska") && ends(8)) || (kind.Is(0, "webm") && ends(4));
        }
        position = element->content + *element->size;
    }
    return false;
}

struct Tracks {
    bool hasVideo = false;
    bool hasAudio = false;
    bool areAll = false;  // the list was seen to its end
    Evidence evidence;
};

// Goes through the segment, the track list and the tracks in it as if their parts stood in a row.
class CTrackFinder final {
public:
    CTrackFinder(CWalk& walk, std::uint64_t segment) : m_walk(walk), m_segment(segment) {}

    Tracks Find() {
        std::uint64_t position = m_segment;
        for (int i = 0; i < kMostElements && !m_tracks.hasVideo && !m_tracks.areAll; ++i) {
            const std::optional<Element> element = ElementAt(m_walk, position);
            const bool endsList = position >= m_listEnd || (m_isInList && element && element->id >= kFirstOfFourBytes);
            if (endsList) {
                m_tracks.areAll = true;
                break;
            }
            const std::optional<std::uint64_t> next = element ? Take(*element) : std::nullopt;
            if (next)
                position = *next;
            else if (m_seekTo && !m_isInList)
                position = *std::exchange(m_seekTo, std::nullopt);
            else
                break;
        }
        return m_tracks;
    }

private:
    // Where to go on; empty where there is nothing more to look at.
    std::optional<std::uint64_t> Take(const Element& element) {
        switch (element.id) {
            case kTracks:
                m_isInList = true;
                m_listEnd = element.size ? element.content + *element.size : UINT64_MAX;
                return element.content;
            case kTrackEntry:
            case kSeekHead:
            case kSeek:
                return element.content;
            case kCluster:  // nothing but media from here on
                return std::nullopt;
            case kSeekId:
                m_isSeekToList = NumberIn(m_walk, element) == kTracks;
                break;
            case kSeekPosition:
                if (const std::optional<std::uint64_t> number = NumberIn(m_walk, element); m_isSeekToList && number)
                    m_seekTo = m_segment + *number;
                break;
            case kTrackType:
                TakeTrack(element);
                break;
            default:
                break;
        }
        if (!element.size)
            return std::nullopt;
        return element.content + *element.size;
    }

    void TakeTrack(const Element& element) {
        constexpr std::uint64_t kVideo = 1;
        constexpr std::uint64_t kAudio = 2;
        constexpr std::uint64_t kBoth = 3;
        const std::optional<std::uint64_t> type = NumberIn(m_walk, element);
        m_tracks.hasVideo = m_tracks.hasVideo || type == kVideo || type == kBoth;
        m_tracks.hasAudio = m_tracks.hasAudio || type == kAudio;
        m_tracks.evidence = {element.content, type ? *element.size : 0};
    }

    CWalk& m_walk;
    const std::uint64_t m_segment;  // where its content begins; positions in the file count from there
    std::uint64_t m_listEnd = UINT64_MAX;
    std::optional<std::uint64_t> m_seekTo;  // the track list, as the file's index has it
    bool m_isSeekToList = false;
    bool m_isInList = false;
    Tracks m_tracks;
};

// Where the segment's content begins, behind the header and what may fill up the room between them.
std::optional<std::uint64_t> FindSegment(CWalk& walk, const Element& header) {
    constexpr std::uint32_t kVoid = 0xEC;
    constexpr int kMostFillers = 4;
    Element last = header;
    for (int i = 0; i <= kMostFillers && last.size; ++i) {
        const std::optional<Element> element = ElementAt(walk, last.content + *last.size);
        if (element && element->id == kSegment)
            return element->content;
        if (!element || element->id != kVoid)
            break;
        last = *element;
    }
    return std::nullopt;
}

}  // namespace

Verdict JudgeMatroska(CContent& content) {
    const CBytes head = content.Head();
    if (head.Be32(0) != kHeader)
        return NotThere();
    CWalk walk(content, CWalk::Kind::Boxes);
    const std::optional<Element> header = ElementAt(walk, 0);
    if (!header || !IsKnownKind(walk, *header))
        return RuledOut(L"the document is of another kind", {0, 4});
    const Evidence evidence{0, header->content + *header->size};
    const std::optional<std::uint64_t> segment = FindSegment(walk, *header);
    if (!segment)
        return RuledOut(L"no segment follows the header", evidence);
    const Tracks tracks = CTrackFinder(walk, *segment).Find();
    if (tracks.hasVideo)
        return Found(L"video/x-matroska", nullptr, L"Matroska with a video track", tracks.evidence);
    if (tracks.hasAudio && tracks.areAll)
        return Found(L"audio/x-matroska", nullptr, L"Matroska with audio tracks only", tracks.evidence);
    return Found(L"video/x-matroska", nullptr, L"Matroska without a track that tells its kind", evidence);
}

}  // namespace metadata
