#include "tvsource/trace/CReplay.h"

#include "base/CSlimLock.h"
#include "base/FormatText.h"
#include "console/CCommandError.h"
#include "threading/CWorkerThread.h"
#include "tvsource/graph/CReaderProxy.h"
#include "tvsource/report/Interrupt.h"
#include "tvsource/source/CSha256.h"
#include "tvsource/trace/CReplaySamples.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <exception>
#include <map>
#include <mutex>
#include <utility>

namespace tvsource {

using Clock = std::chrono::steady_clock;
using Microsoft::WRL::ComPtr;

namespace {

constexpr DWORD kProgressIntervalMs = 200;
// What a call gets beyond its limit: a WaitForNext ends by itself at the limit.
constexpr DWORD kGraceMs = 1000;
// The limit of waits for samples once one has run into the full one: more of them will.
constexpr DWORD kLaterWaitMs = 100;

void SetSpan(TraceCall& call, IMediaSample* sample) noexcept {
    if (FAILED(call.result))
        return;
    const ReadSpan span = SpanOf(sample);
    call.position = span.start;
    call.length = span.length;
}

}  // namespace

// What the threads share; it may be left behind with one of them.
struct CReplay::Core {
    Core(const CSourceFilter& source, std::shared_ptr<const Trace> recorded, DWORD limit)
        : trace(std::move(recorded)),
          reader(source.Reader()),
          length(source.SourceLength()),
          limitMs(limit),
          waitLimitMs(limit),
          samples(source.Reader()),
          came(trace->calls),
          ended(trace->calls.size()),
          indexes(trace->threads),
          threads(trace->threads) {
        for (size_t i = 0; i < came.size(); ++i)
            indexes[came[i].thread - 1].push_back(i);
    }

    void RunThread(size_t thread) noexcept;
    bool AwaitTurn(size_t thread, size_t index);
    void End(size_t thread, size_t index);
    void WakeNext() noexcept;
    void Stop(std::exception_ptr why) noexcept;
    [[nodiscard]] bool HasFailed() const {
        const std::lock_guard guard(lock);
        return failure != nullptr;
    }
    [[nodiscard]] std::optional<size_t> Late() const;

    void Call(TraceCall& call, size_t index);
    void TakeBytes(TraceCall& call, BYTE* bytes, IMediaSample* sample) const;
    void WaitForNext(TraceCall& call, bool hadTimedOut, ComPtr<IMediaSample>& sample);
    [[nodiscard]] bool TakeEarly(TraceCall& call, ComPtr<IMediaSample>& sample);
    void RequestAllocator(TraceCall& call) const;

    const std::shared_ptr<const Trace> trace;
    const ComPtr<IAsyncReader> reader;
    const CSourceFilter::Length length;
    const DWORD limitMs;
    std::atomic<DWORD> waitLimitMs;
    CReplaySamples samples;
    std::vector<TraceCall> came;  // each of its call's thread
    bool asRecorded = false;
    Clock::time_point start;

    struct Thread {
        std::optional<size_t> index;  // of the call that it makes
        ULONGLONG sinceMs = 0;
        std::optional<size_t> awaited;  // it waits until so many calls have ended
        CONDITION_VARIABLE turn = CONDITION_VARIABLE_INIT;
    };
    // What a wait got that had timed out in the trace: the source is quicker now.
    struct Early {
        HRESULT result;
        ComPtr<IMediaSample> sample;
    };
    mutable base::CSlimLock lock;                       // guards what follows
    CONDITION_VARIABLE over = CONDITION_VARIABLE_INIT;  // all calls have ended, or the run is stopped
    std::vector<bool> ended;
    size_t endedInOrder = 0;  // all calls before this one have ended
    size_t endedInAll = 0;
    std::vector<std::vector<size_t>> indexes;  // of each thread's calls
    std::vector<Thread> threads;
    std::map<DWORD_PTR, IMediaSample*> requested;
    std::deque<Early> early;
    std::exception_ptr failure;
    bool isStopped = false;
};

// ---- On the threads

void CReplay::Core::RunThread(size_t thread) noexcept {
    try {
        for (const size_t index : indexes[thread]) {
            if (!AwaitTurn(thread, index))
                return;
            if (IsReplayable(came[index]))
                Call(came[index], index);
            End(thread, index);
        }
    } catch (...) {
        Stop(std::current_exception());
    }
}

// False: the run is over.
bool CReplay::Core::AwaitTurn(size_t thread, size_t index) {
    const TraceCall& call = trace->calls[index];
    const Clock::time_point earliest = start + std::chrono::microseconds(asRecorded ? call.atUs : 0);
    const auto left = [&] {
        return std::max(0LL, std::chrono::ceil<std::chrono::milliseconds>(earliest - Clock::now()).count());
    };
    const std::lock_guard guard(lock);
    Thread& self = threads[thread];
    self.awaited = call.after;
    while (!isStopped && endedInOrder < call.after)
        static_cast<void>(lock.Await(self.turn, INFINITE));  // Stop ends it
    self.awaited.reset();
    while (!isStopped && left() > 0)
        static_cast<void>(lock.Await(self.turn, static_cast<DWORD>(left())));
    self.index = index;
    self.sinceMs = ::GetTickCount64();
    return !isStopped;
}

void CReplay::Core::End(size_t thread, size_t index) {
    const std::lock_guard guard(lock);
    threads[thread].index.reset();
    ended[index] = true;
    ++endedInAll;
    while (endedInOrder < ended.size() && ended[endedInOrder])
        ++endedInOrder;
    WakeNext();
    if (endedInAll == ended.size())
        ::WakeConditionVariable(&over);
}

// Those whose turn it is. Waking all after each call would take longer than the calls.
void CReplay::Core::WakeNext() noexcept {
    for (Thread& each : threads) {
        if (each.awaited && (isStopped || *each.awaited <= endedInOrder))
            ::WakeConditionVariable(&each.turn);
    }
}

void CReplay::Core::Stop(std::exception_ptr why) noexcept {
    const std::lock_guard guard(lock);
    isStopped = true;
    if (!failure)
        failure = std::move(why);
    for (Thread& each : threads)
        ::WakeConditionVariable(&each.turn);
    ::WakeConditionVariable(&over);
}

// The call that is over its limit.
std::optional<size_t> CReplay::Core::Late() const {
    for (const Thread& each : threads) {
        if (each.index && ::GetTickCount64() - each.sinceMs > ULONGLONG{limitMs} + kGraceMs)
            return each.index;
    }
    return std::nullopt;
}

void CReplay::Core::Call(TraceCall& call, size_t index) {
    ComPtr<IMediaSample> sample;
    const bool takesSample = call.kind == CallKind::Request || call.kind == CallKind::SyncReadAligned;
    if (takesSample)
        sample = samples.Take(call.position, call.length);
    if (call.kind == CallKind::Request) {
        const std::lock_guard guard(lock);
        requested[index] = sample.Get();
    }
    std::vector<BYTE> buffer(call.kind == CallKind::SyncRead ? static_cast<size_t>(std::max(1LL, call.length)) : 0);
    const auto began = Clock::now();
    switch (call.kind) {
        case CallKind::RequestAllocator:
            RequestAllocator(call);
            break;
        case CallKind::Request:
            call.result = reader->Request(sample.Get(), index);
            break;
        case CallKind::WaitForNext:
            WaitForNext(call, trace->calls[index].result == VFW_E_TIMEOUT, sample);
            break;
        case CallKind::SyncReadAligned:
            call.result = reader->SyncReadAligned(sample.Get());
            break;
        case CallKind::SyncRead:
            call.result = reader->SyncRead(call.position, static_cast<LONG>(call.length), buffer.data());
            break;
        case CallKind::Length:
            call.total = call.available = 0;
            call.result = reader->Length(&call.total, &call.available);
            break;
        case CallKind::BeginFlush:
            call.result = reader->BeginFlush();
            break;
        case CallKind::EndFlush:
            call.result = reader->EndFlush();
            break;
    }
    call.tookUs = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - began).count();
    if (call.GivesBytes())
        TakeBytes(call, buffer.data(), sample.Get());
}

void CReplay::Core::TakeBytes(TraceCall& call, BYTE* bytes, IMediaSample* sample) const {
    if (call.kind == CallKind::SyncRead) {
        const auto total = length.estimated ? std::nullopt : std::optional(length.total);
        call.bytes = BytesOfSyncRead(call.result, call.position, call.length, total);
    } else {
        const bool came = SUCCEEDED(call.result) && sample && SUCCEEDED(sample->GetPointer(&bytes));
        call.bytes = came ? sample->GetActualDataLength() : 0;
    }
    call.hash = call.HasHash() ? ShortHash({bytes, static_cast<size_t>(call.bytes)}) : 0;
}

void CReplay::Core::RequestAllocator(TraceCall& call) const {
    ComPtr<IMemAllocator> preferred;
    if (call.preferred)
        console::Check(
            ::CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&preferred)),
            L"Cannot create an allocator");
    ALLOCATOR_PROPERTIES properties{call.buffers, call.size, call.align, call.prefix};
    ComPtr<IMemAllocator> actual;  // takes no memory before it is committed
    call.result = reader->RequestAllocator(preferred.Get(), &properties, &actual);
}

// Gives the sample that came. That the pin hands back a sample with what it was requested with is looked at, too.
// `hadTimedOut`: in the trace. How soon a sample comes is no difference: it is kept for the next wait that got one.
void CReplay::Core::WaitForNext(TraceCall& call, bool hadTimedOut, ComPtr<IMediaSample>& sample) {
    call.position = call.length = 0;
    if (!hadTimedOut && TakeEarly(call, sample))
        return;
    const DWORD limit = waitLimitMs;
    DWORD_PTR user = 0;
    call.result = reader->WaitForNext(std::min(call.timeoutMs, limit), &sample, &user);
    if (!hadTimedOut && call.result == VFW_E_TIMEOUT && TakeEarly(call, sample))
        return;  // another thread's wait got it meanwhile
    if (!hadTimedOut && call.result == VFW_E_TIMEOUT && call.timeoutMs > limit)
        waitLimitMs = std::min(limit, kLaterWaitMs);
    if (!sample)
        return;
    const std::lock_guard guard(lock);
    const auto request = requested.find(user);
    if (request == requested.end() || request->second != sample.Get())
        call.result = E_UNEXPECTED;
    else
        requested.erase(request);
    if (hadTimedOut) {
        early.push_back({std::exchange(call.result, VFW_E_TIMEOUT), std::exchange(sample, nullptr)});
    } else {
        SetSpan(call, sample.Get());
    }
}

bool CReplay::Core::TakeEarly(TraceCall& call, ComPtr<IMediaSample>& sample) {
    const std::lock_guard guard(lock);
    if (early.empty())
        return false;
    call.result = early.front().result;
    sample = std::move(early.front().sample);
    early.pop_front();
    SetSpan(call, sample.Get());
    return true;
}

// ---- On the caller's thread

CReplay::CReplay(const CSourceFilter& source, std::shared_ptr<const Trace> trace, DWORD limitMs)
    : m_source(source), m_core(std::make_shared<Core>(source, std::move(trace), limitMs)) {}

CReplay::~CReplay() = default;

const std::vector<TraceCall>& CReplay::Calls() const noexcept {
    return m_core->came;
}

void CReplay::Run(bool asRecorded, const Progress& progress) {
    Core& core = *m_core;
    core.asRecorded = asRecorded;
    core.start = Clock::now();
    std::vector<std::unique_ptr<threading::CWorkerThread>> workers;
    for (size_t i = 0; i < core.indexes.size(); ++i) {
        workers.push_back(std::make_unique<threading::CWorkerThread>("Replay", COINIT_MULTITHREADED));
        if (!workers.back()->Start([shared = m_core, i](HRESULT) { shared->RunThread(i); }))
            core.Stop(std::make_exception_ptr(console::CCommandError(L"Cannot start a thread for the calls")));
    }
    std::optional<size_t> late;
    for (size_t ended = 0; !late;) {
        {
            const std::lock_guard guard(core.lock);
            if (core.isStopped || core.endedInAll == core.ended.size())
                break;
            static_cast<void>(core.lock.Await(core.over, kProgressIntervalMs));
            late = core.Late();
            ended = core.endedInAll;
        }
        progress(ended);
    }
    core.Stop(nullptr);
    const bool isCutShort = late || core.HasFailed();  // calls may be under way
    if (isCutShort)
        m_source.EndReads();
    RunOrEndProcess([&] {
        if (isCutShort)
            core.reader->BeginFlush();  // lets go of those who wait for samples
        for (const auto& worker : workers)
            static_cast<void>(worker->Join(INFINITE));
        TakeBackSamples();
    });
    if (late)
        throw console::CCommandError(base::FormatText(L"Call %I64u, ", static_cast<ULONGLONG>(*late) + 1) +
                                     CallText(core.trace->calls[*late]) +
                                     base::FormatText(L", has not ended within %.1f seconds", core.limitMs / 1000.0));
    if (core.failure)
        std::rethrow_exception(core.failure);
}

// What nobody waited for.
void CReplay::TakeBackSamples() {
    IAsyncReader* const reader = m_core->reader.Get();
    reader->BeginFlush();
    HRESULT hr = S_OK;
    while (SUCCEEDED(hr)) {
        ComPtr<IMediaSample> sample;
        DWORD_PTR user = 0;
        hr = reader->WaitForNext(0, &sample, &user);
    }
    reader->EndFlush();
}

}  // namespace tvsource
