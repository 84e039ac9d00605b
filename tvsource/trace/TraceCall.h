// One call on a pin's IAsyncReader, as a trace has it: one JSON object on a line.
//
//   {"call":7,"after":6,"thread":2,"atUs":1840,"name":"SyncRead","position":8192,"length":4096,"result":"0x00000000",
//    "bytes":4096,"hash":"91b3c7a0f2d4e618","tookUs":35}
//
// Calls are numbered as they ended. `after` says how many had ended when this one began: those with the numbers up to
// it. So it tells, exactly, which calls ran at the same time.
#pragma once

#include "console/Json.h"

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

namespace tvsource {

enum class CallKind : BYTE {
    RequestAllocator,
    Request,
    WaitForNext,
    SyncReadAligned,
    SyncRead,
    Length,
    BeginFlush,
    EndFlush,
};
inline constexpr size_t kCallKinds = 8;

[[nodiscard]] const char* NameOf(CallKind kind) noexcept;
[[nodiscard]] std::optional<CallKind> CallKindFrom(const std::string& name) noexcept;

inline constexpr LONG kBytesNotTold = -1;

struct TraceCall {
    CallKind kind = CallKind::Length;
    bool preferred = false;  // RequestAllocator: the caller brought an allocator
    unsigned after = 0;
    unsigned thread = 0;
    LONGLONG atUs = 0;  // since the trace began
    LONGLONG tookUs = 0;
    HRESULT result = S_OK;
    DWORD timeoutMs = 0;                                // WaitForNext
    LONGLONG position = 0;                              // of a read; of WaitForNext: of the sample that came
    LONGLONG length = 0;                                // that the read asked for
    LONGLONG total = 0;                                 // Length
    LONGLONG available = 0;                             // Length
    LONG bytes = 0;                                     // that came, or kBytesNotTold
    std::uint64_t hash = 0;                             // of these; see ShortHash
    LONG buffers = 0, size = 0, align = 0, prefix = 0;  // RequestAllocator: what was asked for

    // Whether it reads, or hands out what was read; Request doesn't.
    [[nodiscard]] bool GivesBytes() const noexcept {
        return kind == CallKind::WaitForNext || kind == CallKind::SyncReadAligned || kind == CallKind::SyncRead;
    }
    [[nodiscard]] bool HasHash() const noexcept { return bytes > 0; }
};

// How many bytes a SyncRead gave. A short one doesn't tell; where the end of the source explains it, what is before the
// end came. `total`: the source's length, or empty if it isn't known.
[[nodiscard]] LONG BytesOfSyncRead(HRESULT result, LONGLONG position, LONGLONG length,
                                   const std::optional<LONGLONG>& total) noexcept;

// "SyncRead of 4096 bytes at 8192"
[[nodiscard]] std::wstring CallText(const TraceCall& call);

// What came of the call: {"result", "bytes", "hash"}, or for Length {"result", "total", "available"}. And as text.
[[nodiscard]] console::Json ResultObject(const TraceCall& call);
[[nodiscard]] std::wstring ResultText(const TraceCall& call);

// The line, without a line break. `number`: from 1 on.
[[nodiscard]] std::string TraceLine(const TraceCall& call, unsigned long long number);

}  // namespace tvsource
