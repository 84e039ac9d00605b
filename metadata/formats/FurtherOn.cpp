// A second look at content that goes on behind its head. What begins near the head's end shows too little of itself
// there. Audio, packs and packets may also stand behind many zeros, which a recorder leaves if it is started before its
// source.
#include "metadata/FormatRules.h"

namespace metadata {

namespace {

using Judge = Verdict (*)(CContent& content);

// What may begin where zeros end.
constexpr Judge kAtTheStart[] = {&JudgeMpegProgram, &JudgeAac, &JudgeAc3, &JudgeDts, &JudgeMpegAudio};
// What may begin anywhere in what is read further on.
constexpr Judge kAnywhere[] = {&SearchMpegTransport, &SearchMpegProgram, &SearchMpegAudio,
                               &SearchAac,           &SearchAc3,         &SearchDts};

Verdict FirstThatDecides(CContent& content, std::span<const Judge> rules) {
    for (const Judge judge : rules) {
        if (const Verdict verdict = judge(content); verdict.Decides())
            return verdict;
    }
    return NotThere();
}

}  // namespace

Verdict JudgeFurtherOn(CContent& content) {
    constexpr std::uint64_t kMostZeros = 1024 * 1024;
    constexpr size_t kStep = CContent::kHeadBytes / 2;  // so that what begins in the head's second half has room
    constexpr size_t kStartCodeZeros = 2;               // zeros that a start code begins with
    const auto canGoOn = [&] { return content.CanWalk() && !content.HeadIsAll(); };
    if (!canGoOn())
        return NotThere();
    const std::uint64_t first = content.Start();
    size_t zeros = content.Head().LeadingZeros();
    if (zeros < kStep) {
        content.MoveStart(kStep);
        return FirstThatDecides(content, kAnywhere);
    }
    for (; zeros > kStartCodeZeros && canGoOn() && content.Start() - first <= kMostZeros;
         zeros = content.Head().LeadingZeros())
        content.MoveStart(zeros - kStartCodeZeros);
    const Verdict verdict = FirstThatDecides(content, kAtTheStart);
    return verdict.Decides() ? verdict : FirstThatDecides(content, kAnywhere);
}

}  // namespace metadata
