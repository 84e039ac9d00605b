// AU: six numbers, and samples behind them.

#include "metadata/FormatRules.h"

namespace metadata {

namespace {

constexpr std::uint64_t kHeader = 24;

// The header's numbers, in either byte order.
struct Fields {
    std::uint32_t dataOffset;
    std::uint32_t encoding;
    std::uint32_t rate;
    std::uint32_t channels;
};

bool AreSane(const Fields& fields) {
    constexpr std::uint32_t kLastEncoding = 27;       // A-law; all numbers up to it are assigned
    constexpr std::uint32_t kMostText = 1024 * 1024;  // between the header and the samples
    constexpr std::uint32_t kMostChannels = 255;
    return fields.dataOffset >= kHeader && fields.dataOffset <= kMostText && fields.encoding >= 1 &&
           fields.encoding <= kLastEncoding && fields.rate > 0 && fields.channels >= 1 &&
           fields.channels <= kMostChannels;
}

}  // namespace

Verdict JudgeAu(CContent& content) {
    const CBytes head = content.Head();
    Fields fields{};
    if (head.Is(0, ".snd"))
        fields = {head.Be32(4), head.Be32(12), head.Be32(16), head.Be32(20)};
    else if (head.Is(0, "dns."))
        fields = {head.Le32(4), head.Le32(12), head.Le32(16), head.Le32(20)};
    else
        return NotThere();
    if (!head.Has(0, kHeader) || !AreSane(fields))
        return RuledOut(L"the header is not sane", {0, kHeader});
    return Found(L"audio/basic", nullptr, L"AU header", {0, kHeader});
}

}  // namespace metadata
