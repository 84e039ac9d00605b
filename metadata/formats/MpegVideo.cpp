// MPEG-1 and MPEG-2 video without a container: a sequence header, then a picture and its slices (ISO/IEC 11172-2 and
// 13818-2).
#include "metadata/FormatRules.h"
#include "metadata/formats/StartCode.h"

namespace metadata {

namespace {

constexpr int kPicture = 0x00;
constexpr int kFirstSlice = 0x01;
constexpr int kLastSlice = 0xAF;
constexpr int kUserData = 0xB2;
constexpr int kSequenceHeader = 0xB3;
constexpr int kExtension = 0xB5;
constexpr int kGroup = 0xB8;

// The length of the sequence header at `at`, with its matrices; 0: its fields are no sequence's.
size_t SequenceHeaderBytes(CBytes head, size_t at) {
    const unsigned width = head.Be16(at + 4) >> 4;
    const unsigned height = head.Be16(at + 5) & 0x0FFF;
    const unsigned aspect = head.U8(at + 7) >> 4;
    // Values above 8 are reserved, but some encoders use those up to 13 for rates of their own.
    const unsigned frameRate = head.U8(at + 7) & 0x0F;
    const unsigned bitRate = head.Be24(at + 8) >> 6;
    const bool hasMarker = head.U8(at + 10) & 0x20;
    if (width == 0 || height == 0 || aspect == 0 || aspect == 15 || frameRate == 0 || frameRate > 13 || bitRate == 0 ||
        !hasMarker)
        return 0;
    constexpr size_t kMatrix = 64;
    size_t bytes = 12;
    if (head.U8(at + 11) & 0x02)
        bytes += kMatrix;
    // The flag of the second matrix is the last bit before that matrix, so the first matrix moves it.
    if (head.U8(at + bytes - 1) & 0x01)
        bytes += kMatrix;
    return bytes;
}

// Whether a picture with a slice follows, with nothing in between but what may stand before them.
bool HasPicture(CBytes head, size_t at) {
    bool isInPicture = false;
    for (int code = 0; (code = StartCodeAt(head, at)) >= 0; at = FindStartCode(head, at + 4)) {
        if (isInPicture && code >= kFirstSlice && code <= kLastSlice)
            return true;
        const bool isHeader = code == kExtension || code == kUserData || (code == kGroup && !isInPicture);
        if (code == kPicture && !isInPicture)
            isInPicture = true;
        else if (!isHeader)
            return false;
    }
    return false;
}

}  // namespace

Verdict JudgeMpegVideo(CContent& content) {
    const CBytes head = content.Head();
    const size_t start = StartCodeBehindZeros(head);
    if (StartCodeAt(head, start) != kSequenceHeader)
        return NotThere();
    const size_t headerBytes = SequenceHeaderBytes(head, start);
    if (headerBytes == 0)
        return RuledOut(L"the sequence header's fields are not sane", {start, 12});
    // More zeros than a start code has of its own may stand before each.
    const size_t behind = start + headerBytes;
    const size_t next = FindStartCode(head, behind);
    if (head.From(behind).LeadingZeros() != next + 2 - behind || !HasPicture(head, next))
        return RuledOut(L"no picture follows the sequence header", {start, headerBytes});
    const bool isMpeg2 = StartCodeAt(head, next) == kExtension && head.U8(next + 4) >> 4 == 1;
    return Found(
        isMpeg2 ? L"video/mpeg2" : L"video/mpeg", nullptr,
        isMpeg2 ? L"sequence header with MPEG-2's extension, picture and slice" : L"sequence header, picture and slice",
        {start, next + 4 - start});
}

}  // namespace metadata
