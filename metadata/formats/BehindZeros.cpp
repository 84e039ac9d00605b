// Audio frames behind more zeros than the head holds, as a recorder leaves them that was started before its source.
#include "metadata/FormatRules.h"

Verdict JudgeBehindZeros(CContent& content) {
    constexpr int kMostHeads = 16;
    const auto isAllZero = [&] { return content.Head().LeadingZeros() == content.Head().Size(); };
    if (content.HeadIsAll() || !isAllZero())
        return NotThere();
    for (int i = 0; i < kMostHeads && isAllZero() && content.CanWalk() && !content.HeadIsAll(); ++i)
        content.MoveStart(content.Head().Size());
    // The frames may stand behind a tag, or the first one may be cut.
    for (const auto judge :
         {&JudgeAac, &JudgeAc3, &JudgeDts, &JudgeMpegAudio, &SearchMpegAudio, &SearchAac, &SearchAc3, &SearchDts}) {
        if (const Verdict verdict = judge(content); verdict.Decides())
            return verdict;
    }
    return NotThere();
}
