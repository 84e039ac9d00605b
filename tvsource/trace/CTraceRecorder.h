// Writes a trace: a header, a line for each call (TraceCall.h), and an end, without which a trace is cut off.
//
// A call's thread only takes the time and copies the bytes into one of a few blocks of memory, which are there from the
// beginning; a thread of the recorder's own makes hashes and lines of that and writes them. When the blocks are full,
// calls make the hashes themselves, and at last wait until there is room: nothing is lost, and what that took shows in
// Spent.
//
// What it writes, ReadTrace takes: it stops at the limits that a trace has (Trace.h), and then the trace is full.
//
// Threads: Begin and End any; the others the owner's.  Lifetime: may outlive Finish; calls after it are not recorded.
// Errors: CCommandError of the constructor and of Finish.
#pragma once

#include "base/CSlimLock.h"
#include "console/CCommandError.h"
#include "console/COutputFile.h"
#include "threading/CBoostThreadRunner.h"
#include "tvsource/trace/Trace.h"

#include <array>
#include <atomic>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace tvsource {

class CTraceRecorder final {
public:
    static constexpr int kVersion = 1;

    // When a call began, and how many had ended by then.
    struct Start {
        LONGLONG ticks;
        unsigned after;
    };

    // `header`: what is to stand in the first line beside the version. `stopped` is signalled when no more is recorded,
    // because the trace is full or can't be written; it must not go before this object.
    CTraceRecorder(const std::wstring& path, const console::Json& header, unsigned mostCalls, HANDLE stopped);
    CTraceRecorder(const CTraceRecorder&) = delete;
    CTraceRecorder& operator=(const CTraceRecorder&) = delete;
    ~CTraceRecorder();

    [[nodiscard]] Start Begin() const noexcept;
    // What the call has come to; its times, thread and hash are filled in here. `bytes`: the first of call.bytes.
    void End(const Start& start, TraceCall call, const BYTE* bytes) noexcept;

    // Writes what is held; calls are no longer recorded.
    void Close() noexcept;
    // Closes, and writes the end.  Once.
    void Finish(const console::Json& end);

    [[nodiscard]] bool HasStopped() const noexcept { return m_hasStopped; }
    // What there is too much of, after Close. Empty: nothing, all is recorded.
    [[nodiscard]] std::wstring FullText() const;

    [[nodiscard]] unsigned Calls() const noexcept { return m_ended; }
    [[nodiscard]] unsigned Written() const noexcept { return m_written; }       // after Close
    [[nodiscard]] size_t Threads() const noexcept { return m_threads.size(); }  // after Close
    // Since the recorder was made, and how much of that recording took on the threads of the calls, in seconds.
    [[nodiscard]] double Elapsed() const noexcept;
    [[nodiscard]] double Spent() const noexcept;

private:
    enum class Full : BYTE { No, Calls, Threads, Time };

    struct Entry {
        TraceCall call;
        size_t copied;  // bytes of it that are in the block; 0: there are none, or the hash is made
    };
    // What came until it was full or written. It takes no memory while it is filled.
    struct Block {
        static constexpr size_t kMostBytes = 0x80000, kMostEntries = 512;

        Block() {
            entries.resize(kMostEntries);
            bytes.resize(kMostBytes);
            Clear();
        }
        void Clear() noexcept {
            entries.clear();
            bytes.clear();
        }
        [[nodiscard]] bool HasRoom(size_t length) const noexcept {
            return entries.size() < kMostEntries && length <= kMostBytes - bytes.size();
        }

        std::vector<Entry> entries;
        std::vector<BYTE> bytes;
    };

    [[nodiscard]] bool Push(const TraceCall& call, std::span<const BYTE> bytes, bool waits);
    [[nodiscard]] bool GoOnFilling(size_t length) noexcept;
    int WriteBlocks();
    void WriteBlock(Block& block);
    [[nodiscard]] Block* Next();
    void MakeRoom(Block& block) noexcept;
    void WriteText(bool all);
    [[nodiscard]] Full WhyFull(const TraceCall& call) const noexcept;
    void Stop() noexcept;
    void Fail(HRESULT result) noexcept;

    const std::wstring m_name;
    console::COutputFile m_file;
    const unsigned m_mostCalls;
    const HANDLE m_stopped;  // the caller's
    const LONGLONG m_startTicks;
    std::atomic<unsigned> m_ended{0};
    std::atomic<LONGLONG> m_spentTicks{0};
    std::atomic<bool> m_hasStopped{false};

    // Of the recorder's thread; then of the owner's.
    std::string m_text;
    unsigned m_written = 0;
    Full m_full = Full::No;
    std::map<unsigned, unsigned> m_threads;  // from the system's numbers to those of the trace

    base::CSlimLock m_lock;  // guards what follows; a leaf
    CONDITION_VARIABLE m_more = CONDITION_VARIABLE_INIT;
    CONDITION_VARIABLE m_room = CONDITION_VARIABLE_INIT;
    // Used in turn: those from m_writing on are full, up to m_filling.
    std::array<Block, 16> m_blocks;
    size_t m_writing = 0, m_filling = 0;
    bool m_closed = false;
    HRESULT m_failure = S_OK;  // no words: where memory is short there are none

    CBoostThreadRunner m_thread{"Trace recorder"};
};

}  // namespace tvsource
