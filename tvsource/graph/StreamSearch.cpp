#include "tvsource/graph/StreamSearch.h"

#include "base/CAutoDestructor.h"
#include "threading/CCallQueue.h"
#include "tvsource/report/Interrupt.h"

#include <vfwmsgs.h>

#include <exception>
#include <utility>

namespace tvsource {

namespace {

constexpr DWORD kLookMs = 100;
constexpr DWORD kFruitlessLimitMs = 30'000;
// Who reads on and on behind the end of a source reads so often in less time, and never stops.
constexpr unsigned long long kManyReads = 10'000;
constexpr DWORD kManyReadsLimitMs = 5'000;

// Tells from looks at regular times when a parser's reads lead to nothing.
class CReadWatch final {
public:
    explicit CReadWatch(const SearchLimits& limits) noexcept : m_limits(limits) {}

    [[nodiscard]] bool IsHopeless(const CCountingPin::Counts& now) noexcept {
        const bool isUnderWay = now.underWay > 0 && m_limits.readMs != INFINITE;
        const bool isSameRead = isUnderWay && now.reads == m_last.reads && now.delivered == m_last.delivered;
        m_readMs = isSameRead ? m_readMs + kLookMs : 0;
        // A parser that computes, or is being loaded, reads nothing: it is left alone.
        if (now.delivered != m_last.delivered) {
            m_fruitlessMs = 0;
            m_fruitfulReads = now.reads;
        } else if (now.reads != m_last.reads || isUnderWay) {
            m_fruitlessMs += kLookMs;
        }
        m_last = now;
        const bool readsOften = now.reads - m_fruitfulReads >= kManyReads;
        return m_readMs >= m_limits.readMs || m_fruitlessMs >= (readsOften ? kManyReadsLimitMs : kFruitlessLimitMs);
    }

private:
    const SearchLimits m_limits;
    CCountingPin::Counts m_last{};
    unsigned long long m_fruitfulReads = 0;  // how many there had been when something came last
    DWORD m_readMs = 0;
    DWORD m_fruitlessMs = 0;
};

}  // namespace

void Search(CPlayGraph& graph, const SearchLimits& limits, const std::function<void()>& search) {
    std::exception_ptr failure;
    const base::CAutoHandle done(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    threading::CCallQueue queue("Parsers", COINIT_MULTITHREADED);
    const auto run = [&] {
        try {
            search();
        } catch (...) {
            failure = std::current_exception();
        }
        ::SetEvent(done.Get());
    };
    if (!done || queue.Post(run) == 0)
        throw console::CCommandError(L"Cannot start a thread");
    for (CReadWatch watch(limits); ::WaitForSingleObject(done.Get(), kLookMs) == WAIT_TIMEOUT;) {
        if (watch.IsHopeless(graph.Reads())) {
            graph.GiveUp();
            RunOrEndProcess([&] { ::WaitForSingleObject(done.Get(), INFINITE); });
        }
    }
    if (failure)
        std::rethrow_exception(failure);
}

bool FindStreams(CPlayGraph& graph) {
    bool isTaken = false;
    Search(graph, {.readMs = 5'000}, [&] {
        isTaken = graph.TryParsers([](IPin*, const StreamFormat& format) {
            return format.major == GUID_NULL ? VFW_E_NO_TYPES : S_OK;  // another parser may know it
        });
        if (isTaken)
            graph.LearnDuration();
    });
    return isTaken;
}

}  // namespace tvsource
