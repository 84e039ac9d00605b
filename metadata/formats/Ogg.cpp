// Ogg: every stream in the file has a first page, all of these stand at the file's start, and each begins with the name
// of its codec.

#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"

namespace metadata {

namespace {

constexpr std::uint64_t kPageHeader = 27;
constexpr size_t kMostSegments = 255;
constexpr size_t kMostIdentity = 128;  // bytes of the first packet that tell its codec
constexpr int kMostPages = 256;
constexpr std::uint8_t kIsFirst = 0x02;

struct Page {
    std::uint64_t bytes = 0;
    bool isFirst = false;  // of its stream
    CBytes body;           // its beginning; valid until the walk goes on
};

// The page at `position`, or one of 0 bytes.
Page PageAt(CWalk& walk, std::uint64_t position) {
    constexpr std::uint8_t kAllFlags = 0x07;
    const CBytes bytes = walk.At(position, kPageHeader + kMostSegments + kMostIdentity);
    const std::uint8_t flags = bytes.U8(5);
    const std::uint8_t segments = bytes.U8(26);
    const std::uint64_t header = kPageHeader + segments;
    if (!bytes.Is(0, "OggS") || bytes.U8(4) != 0 || flags > kAllFlags || !bytes.Has(0, header))
        return {};
    std::uint64_t length = 0;
    for (std::uint64_t i = kPageHeader; i < header; ++i)
        length += bytes.U8(i);
    return {header + length, (flags & kIsFirst) != 0,
            bytes.From(header, std::min<std::uint64_t>(length, kMostIdentity))};
}

// An early mapping wraps the platform's own description of a stream, which names the stream's kind.
constexpr char kWrapped[] = "\1Direct Show Samples embedded in Ogg";
constexpr std::uint64_t kWrappedKind = 96;
constexpr std::uint32_t kWrappedVideo = 0x05589F80;
constexpr std::uint32_t kWrappedAudio = 0x05589F81;

// The first page at or behind `position` in the head; needed where bytes between two pages are lost or damaged. 0:
// there is none.
std::uint64_t NextPage(CBytes head, std::uint64_t position) {
    constexpr char kName[] = {'O', 'g', 'g', 'S', 0};
    const std::span<const std::uint8_t> rest = head.From(position).Span();
    const auto found = std::search(rest.begin(), rest.end(), std::begin(kName), std::end(kName));
    return found == rest.end() ? 0 : position + static_cast<std::uint64_t>(found - rest.begin());
}

bool IsVideo(CBytes packet) {
    return packet.Is(0, "\200theora") || packet.Is(0, "\200daala") || packet.Is(0, "BBCD\0") || packet.Is(0, "OVP80") ||
           packet.Is(0, "\1video\0\0\0") || packet.Is(0, "UVS     ") || packet.Is(0, "\213JNG\r\n") ||
           packet.Is(0, "\212MNG\r\n") || (packet.Is(0, kWrapped) && packet.Le32(kWrappedKind) == kWrappedVideo);
}

bool IsAudio(CBytes packet) {
    return packet.Is(0, "\1vorbis") || packet.Is(0, "OpusHead") || packet.Is(0, "Speex   ") ||
           packet.Is(0, "\177FLAC") || packet.Is(0, "fLaC") || packet.Is(0, "CELT    ") || packet.Is(0, "PCM     ") ||
           packet.Is(0, "\1audio\0\0\0") || (packet.Is(0, kWrapped) && packet.Le32(kWrappedKind) == kWrappedAudio);
}

}  // namespace

Verdict JudgeOgg(CContent& content) {
    const CBytes head = content.Head();
    if (!head.Is(0, "OggS"))
        return NotThere();
    CWalk walk(content, CWalk::Kind::Headers);
    bool hasAudio = false;
    bool areAll = false;  // the first page of every stream was seen, because another page came
    Evidence evidence{0, kPageHeader};
    std::uint64_t position = 0;
    std::uint64_t lastPage = 0;
    for (int i = 0; i < kMostPages && !areAll; ++i) {
        Page page = PageAt(walk, position);
        if (page.bytes == 0 && position > 0) {
            // The last page may have claimed more bytes than it has, so the search for the next one begins inside it.
            position = NextPage(head, lastPage + 1);
            page = position > lastPage ? PageAt(walk, position) : Page{};
        }
        if (page.bytes == 0)
            break;
        lastPage = position;
        if (IsVideo(page.body))
            return Found(L"video/ogg", L"application/ogg", L"Ogg with a video stream", {position, page.bytes});
        if (IsAudio(page.body)) {
            hasAudio = true;
            evidence = {position, page.bytes};
        }
        position += page.bytes;
        areAll = !page.isFirst;
    }
    if (lastPage == 0 && PageAt(walk, 0).bytes == 0)
        return RuledOut(L"the first page is not sane", evidence);
    if (hasAudio && areAll)
        return Found(L"audio/ogg", L"application/ogg", L"Ogg with audio streams only", evidence);
    // Streams of other kinds, or a file cut off among its first pages.
    return Found(L"application/ogg", nullptr, L"Ogg without a stream of a known kind", evidence);
}

}  // namespace metadata
