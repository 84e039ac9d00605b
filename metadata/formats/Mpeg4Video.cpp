// MPEG-4 visual without a container: the headers of the sequence and the object, which may be missing, the video object
// layer, which may not, and a picture (ISO/IEC 14496-2). The order is strict, because icons begin with an object's
// start code and the Chinese AVS video with a sequence's.
#include "metadata/FormatRules.h"
#include "metadata/formats/StartCode.h"

namespace metadata {

namespace {

constexpr int kLastVideoObject = 0x1F;
constexpr int kFirstLayer = 0x20;
constexpr int kLastLayer = 0x2F;
constexpr int kSequence = 0xB0;
constexpr int kUserData = 0xB2;
constexpr int kGroup = 0xB3;
constexpr int kVisualObject = 0xB5;
constexpr int kPicture = 0xB6;

size_t SkipUserData(CBytes head, size_t at) {
    while (StartCodeAt(head, at) == kUserData)
        at = FindStartCode(head, at + 4);
    return at;
}

// The start code behind the header at `at` and what belongs to it; the header has at most `most` bytes.
size_t SkipHeader(CBytes head, size_t at, size_t most) {
    const size_t next = FindStartCode(head, at + 4);
    return next - at > most ? head.Size() : SkipUserData(head, next);
}

bool IsVideo(CBytes head, size_t visualObject) {
    constexpr unsigned kVideo = 1;
    const bool hasIdentifier = head.U8(visualObject + 4) & 0x80;
    return head.Bits((visualObject + 4) * 8 + (hasIdentifier ? 8 : 1), 4) == kVideo;
}

bool IsLayer(CBytes head, size_t at) {
    const int code = StartCodeAt(head, at);
    const size_t bits = (at + 4) * 8 + 1;
    const bool hasIdentifier = head.Bits(bits + 8, 1) != 0;
    const std::uint32_t objectType = head.Bits(bits, 8);
    const std::uint32_t aspect = head.Bits(bits + (hasIdentifier ? 16 : 9), 4);
    return code >= kFirstLayer && code <= kLastLayer && objectType != 0 && aspect != 0;
}

}  // namespace

Verdict JudgeMpeg4Video(CContent& content) {
    const CBytes head = content.Head();
    const size_t start = StartCodeBehindZeros(head);
    const int first = StartCodeAt(head, start);
    const bool isObject = first >= 0 && first <= kLastVideoObject;
    if (first != kSequence && first != kVisualObject && !(isObject && IsLayer(head, start + 4)))
        return NotThere();

    size_t at = start;
    if (first == kSequence)
        at = SkipHeader(head, at, 8);
    if (StartCodeAt(head, at) == kVisualObject) {
        if (!IsVideo(head, at))
            return RuledOut(L"the visual object is no video", {at, 6});
        at = SkipHeader(head, at, 16);
    }
    const int object = StartCodeAt(head, at);
    if (object < 0 || object > kLastVideoObject || !IsLayer(head, at + 4))
        return RuledOut(L"no video object layer where it belongs", {start, 4});
    const size_t layer = at + 4;
    for (at = layer; StartCodeAt(head, at) >= 0 && StartCodeAt(head, at) != kPicture;
         at = FindStartCode(head, at + 4)) {
        const int code = StartCodeAt(head, at);
        if (at != layer && code != kUserData && code != kGroup)
            break;
    }
    if (StartCodeAt(head, at) != kPicture)
        return RuledOut(L"no picture follows the video object layer", {start, layer + 4 - start});
    return Found(L"video/mp4v-es", nullptr, L"video object layer and picture", {start, at + 4 - start});
}

}  // namespace metadata
