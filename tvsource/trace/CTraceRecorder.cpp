#include "tvsource/trace/CTraceRecorder.h"

#include "base/FormatText.h"
#include "console/CConsole.h"
#include "console/Text.h"
#include "tvsource/source/CSha256.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace tvsource {

namespace {

// How long calls may stand in a block before they are written. Waking the thread for each would cost the callers more
// than all the rest.
constexpr DWORD kPauseMs = 50;
constexpr size_t kTextBytes = 0x10000;

LONGLONG Ticks() noexcept {
    LARGE_INTEGER ticks{};
    ::QueryPerformanceCounter(&ticks);
    return ticks.QuadPart;
}

LONGLONG TicksPerSecond() noexcept {
    static const LONGLONG frequency = [] {
        LARGE_INTEGER value{};
        ::QueryPerformanceFrequency(&value);
        return value.QuadPart;
    }();
    return frequency;
}

double Seconds(LONGLONG ticks) noexcept {
    return static_cast<double>(ticks) / static_cast<double>(TicksPerSecond());
}

LONGLONG Microseconds(LONGLONG ticks) noexcept {
    return static_cast<LONGLONG>(Seconds(ticks) * 1e6);
}

}  // namespace

CTraceRecorder::CTraceRecorder(const std::wstring& path, const console::Json& header, unsigned mostCalls,
                               HANDLE stopped)
    : m_name(console::Printable(path)),
      m_file(path),
      m_mostCalls(mostCalls),
      m_stopped(stopped),
      m_startTicks(Ticks()) {
    console::Json first{{"tvsourceTrace", kVersion}};
    first.update(header);
    m_text = first.dump() + "\n";
    if (!m_thread.Start([this] { return WriteBlocks(); }))
        throw console::CCommandError(L"Cannot start the thread that writes the trace",
                                     HRESULT_FROM_WIN32(m_thread.GetLastError()));
}

CTraceRecorder::~CTraceRecorder() {
    Close();
}

CTraceRecorder::Start CTraceRecorder::Begin() const noexcept {
    return {Ticks(), m_ended};
}

void CTraceRecorder::End(const Start& start, TraceCall call, const BYTE* bytes) noexcept {
    const LONGLONG ended = Ticks();
    call.after = start.after;
    call.thread = ::GetCurrentThreadId();
    call.atUs = Microseconds(start.ticks - m_startTicks);
    call.tookUs = Microseconds(ended - m_startTicks) - call.atUs;
    try {
        const std::span came(bytes, call.HasHash() && bytes ? static_cast<size_t>(call.bytes) : 0);
        if (!Push(call, came, came.empty())) {
            call.hash = ShortHash(came);
            static_cast<void>(Push(call, {}, true));
        }
    } catch (const console::CCommandError& error) {
        Fail(error.Code().value_or(E_FAIL));
    } catch (const std::bad_alloc&) {
        Fail(E_OUTOFMEMORY);
    }
    m_spentTicks += Ticks() - ended;
}

// False: there is no room, and the caller doesn't want to wait for it.
bool CTraceRecorder::Push(const TraceCall& call, std::span<const BYTE> bytes, bool waits) {
    const std::lock_guard guard(m_lock);
    while (!m_closed && !m_hasStopped && !GoOnFilling(bytes.size())) {
        if (!waits)
            return false;
        static_cast<void>(m_lock.Await(m_room, INFINITE));
    }
    if (m_closed || m_hasStopped)
        return true;
    Block& block = m_blocks[m_filling];
    block.entries.push_back({call, bytes.size()});
    block.bytes.insert(block.bytes.end(), bytes.begin(), bytes.end());
    ++m_ended;
    return true;
}

// Whether there is a block with so much room.
bool CTraceRecorder::GoOnFilling(size_t length) noexcept {
    if (m_blocks[m_filling].HasRoom(length))
        return true;
    const size_t next = (m_filling + 1) % m_blocks.size();
    if (next == m_writing || !m_blocks[next].HasRoom(length))
        return false;
    m_filling = next;
    ::WakeConditionVariable(&m_more);
    return true;
}

// What has come. Null: closed, and all is written.
CTraceRecorder::Block* CTraceRecorder::Next() {
    const std::lock_guard guard(m_lock);
    Block& block = m_blocks[m_writing];
    // One that isn't full is left alone for a while.
    for (bool isTime = false; !m_closed && m_writing == m_filling && (!isTime || block.entries.empty()); isTime = true)
        static_cast<void>(m_lock.Await(m_more, kPauseMs));
    if (m_writing == m_filling)
        m_filling = (m_filling + 1) % m_blocks.size();
    return block.entries.empty() ? nullptr : &block;
}

void CTraceRecorder::MakeRoom(Block& block) noexcept {
    const std::lock_guard guard(m_lock);
    block.Clear();
    m_writing = (m_writing + 1) % m_blocks.size();
    ::WakeAllConditionVariable(&m_room);
}

int CTraceRecorder::WriteBlocks() {
    try {
        while (Block* const block = Next()) {
            WriteBlock(*block);
            MakeRoom(*block);
            WriteText(true);  // a process that is ended leaves what came until then
        }
    } catch (const console::CCommandError& error) {
        Fail(error.Code().value_or(E_FAIL));
    } catch (const console::COutputError& error) {
        Fail(HRESULT_FROM_WIN32(error.Error()));
    } catch (const std::bad_alloc&) {
        Fail(E_OUTOFMEMORY);
    }
    return 0;
}

void CTraceRecorder::WriteBlock(Block& block) {
    std::span<const BYTE> bytes(block.bytes);
    for (Entry& entry : block.entries) {
        TraceCall& call = entry.call;
        if (m_full == Full::No && (m_full = WhyFull(call)) != Full::No)
            Stop();
        if (m_full != Full::No)
            return;
        call.thread = m_threads.try_emplace(call.thread, static_cast<unsigned>(m_threads.size() + 1)).first->second;
        if (entry.copied > 0)
            call.hash = ShortHash(bytes.first(entry.copied));
        bytes = bytes.subspan(entry.copied);
        m_text += TraceLine(call, ++m_written) + "\n";
        WriteText(false);
    }
}

CTraceRecorder::Full CTraceRecorder::WhyFull(const TraceCall& call) const noexcept {
    if (m_written >= m_mostCalls)
        return Full::Calls;
    if (m_threads.size() >= kMostThreads && !m_threads.contains(call.thread))
        return Full::Threads;
    return std::max(call.atUs, call.tookUs) > kMostRunUs ? Full::Time : Full::No;
}

std::wstring CTraceRecorder::FullText() const {
    switch (m_full) {
        case Full::Calls:
            return console::CountText(m_mostCalls, L"call");
        case Full::Threads:
            return L"calls of " + console::CountText(kMostThreads, L"thread");
        case Full::Time:
            return L"the calls of a day";
        case Full::No:
            break;
    }
    return {};
}

void CTraceRecorder::Stop() noexcept {
    const std::lock_guard guard(m_lock);
    m_hasStopped = true;
    ::WakeAllConditionVariable(&m_room);
    ::SetEvent(m_stopped);
}

void CTraceRecorder::Fail(HRESULT result) noexcept {
    {
        const std::lock_guard guard(m_lock);
        m_failure = result;
    }
    Stop();
}

void CTraceRecorder::WriteText(bool all) {
    if (all || m_text.size() >= kTextBytes)
        m_file.Write(std::exchange(m_text, {}));
}

void CTraceRecorder::Close() noexcept {
    {
        const std::lock_guard guard(m_lock);
        m_closed = true;
        ::WakeAllConditionVariable(&m_more);
        ::WakeAllConditionVariable(&m_room);
    }
    m_thread.Join(INFINITE);
}

void CTraceRecorder::Finish(const console::Json& end) {
    Close();
    if (FAILED(m_failure))
        throw console::CCommandError(L"Cannot write " + m_name, m_failure);
    console::Json last = end;
    last["calls"] = m_written;
    m_text += last.dump() + "\n";
    try {
        WriteText(true);
    } catch (const console::COutputError& error) {
        throw console::CCommandError(L"Cannot write " + m_name, HRESULT_FROM_WIN32(error.Error()));
    }
}

double CTraceRecorder::Elapsed() const noexcept {
    return Seconds(Ticks() - m_startTicks);
}

double CTraceRecorder::Spent() const noexcept {
    return Seconds(m_spentTicks);
}

}  // namespace tvsource
