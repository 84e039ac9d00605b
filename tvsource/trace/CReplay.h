// Makes the calls of a trace again, on a source's pin.
//
// Each thread of the trace becomes one thread here. A call begins when all calls have ended that had ended in the trace
// when it began: so those that ran at the same time there may do so here too, and everything else keeps its order.
//
// What came is kept for each call as the trace has it. A request's sample comes with the next WaitForNext, whichever
// that is; a wait that timed out in the trace does so here too, and a sample that comes earlier is kept for the next
// wait. A call that asks for too much (IsReplayable) isn't made, and counts as unchanged.
//
// Threads: one.  Lifetime: one run; must go before the source.  Errors: CCommandError. A call that doesn't end within
// the limit ends the run; if the source doesn't let go of it even then, the process ends, see RunOrEndProcess.
#pragma once

#include "tvsource/source/CSourceFilter.h"
#include "tvsource/trace/Trace.h"

#include <functional>
#include <memory>

namespace tvsource {

class CReplay final {
public:
    // How many calls have ended.
    using Progress = std::function<void(size_t ended)>;

    // The source's data flow must be enabled. `limitMs`: for each call.
    CReplay(const CSourceFilter& source, std::shared_ptr<const Trace> trace, DWORD limitMs);
    CReplay(const CReplay&) = delete;
    CReplay& operator=(const CReplay&) = delete;
    ~CReplay();

    // `asRecorded`: no call begins earlier than in the trace. Throws if a call can't be made or doesn't end.
    void Run(bool asRecorded, const Progress& progress);

    // The calls of the trace with what came of them here. After Run.
    [[nodiscard]] const std::vector<TraceCall>& Calls() const noexcept;

private:
    struct Core;

    void TakeBackSamples();

    const CSourceFilter& m_source;
    const std::shared_ptr<Core> m_core;
};

}  // namespace tvsource
