#include "metadata/Detection.h"

namespace metadata {

namespace {

constexpr int kMostTags = 8;
constexpr size_t kShownBytes = 16;

// The length of the ID3v2 tag at the start, or 0. It is written in four bytes of seven bits, without header and footer.
std::uint64_t Id3Length(CBytes head) {
    constexpr std::uint8_t kHasFooter = 0x10;
    constexpr std::uint64_t kHeader = 10;
    const bool isTag = head.Is(0, "ID3") && head.Has(0, kHeader) && head.U8(3) != 0xFF && head.U8(4) != 0xFF &&
                       (head.Be32(6) & 0x80808080) == 0;
    if (!isTag)
        return 0;
    return head.SevenBit32(6) + kHeader + (head.U8(5) & kHasFooter ? kHeader : 0);
}

// Asks the rules in turn. True: one has decided.
bool Judge(CContent& content, std::span<const FormatRule> rules, Detection& detection) {
    for (const FormatRule& rule : rules) {
        const Verdict verdict = rule.judge(content);
        if (verdict.reason) {
            const auto bytes =
                content.Head()
                    .From(verdict.evidence.position, std::min<std::uint64_t>(verdict.evidence.length, kShownBytes))
                    .Span();
            detection.findings.push_back({&rule, verdict, {bytes.begin(), bytes.end()}});
            detection.findings.back().verdict.evidence.position += content.Start();
        }
        if (verdict.Decides() || content.HasFailed())
            return true;
    }
    return false;
}

}  // namespace

Detection DetectFormat(IByteSource& source, CContent::Clock clock) {
    CContent content(source, clock);
    Detection detection;
    for (; detection.tags < kMostTags; ++detection.tags) {
        const std::uint64_t tag = Id3Length(content.Head());
        if (tag == 0)
            break;
        content.MoveStart(tag);
    }
    detection.start = content.Start();
    if (content.IsHeadPart() && !Judge(content, SignatureRules(), detection)) {
        detection.findings.clear();
        content.CompleteHead();
    }
    if (detection.findings.empty())
        Judge(content, FormatRules(), detection);
    detection.isOutOfTime = content.IsOutOfTime();
    content.PutBack();
    detection.result = content.Result();
    if (content.HasFailed())
        detection.findings.clear();
    return detection;
}

}  // namespace metadata
