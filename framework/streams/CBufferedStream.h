// A read buffer in front of another stream: many small reads become few large ones.
//
// The buffer is one block that is refilled, whole unless the source says what is here, from where the wrapped stream
// stands. Reads and seeks inside the block don't reach the wrapped stream. The stream is read-only.
//
// A wrapped stream that has ITKDSSourceControl says what is here: a refill takes that, or what its reader wants if that
// is more. So no reader waits for bytes that it didn't ask for. The buffer then answers the interface, too.
//
// Units: positions and sizes are bytes.
// Threads: any thread of the process, in any apartment and without marshalling, but one call at a time: no method takes
// a lock. The wrapped stream is kept in a CStreamCookie and fetched for each call that needs it, so it is always
// reached through a pointer that is valid in the calling apartment. The source control may be called by any thread at
// any time.
//
// Lifetime: holds the wrapped stream until the last reference goes.
// Errors: those of the table and of the wrapped stream are returned unchanged; an exception of the wrapped stream
// counts as its failure.
#pragma once

#include "base/CTaskMem.h"
#include "framework/com/CStreamCookie.h"
#include "framework/streams/CControlFace.h"
#include "framework/streams/CStreamBase.h"

#include <vector>

class CBufferedStream final : public framework::CStreamBase {
public:
    CBufferedStream() noexcept = default;

    // To be called once, before any other method: wraps `stream`, with a buffer of `bufferBytes`, and starts where it
    // stands. A stream that can't tell its position counts as standing at 0.
    // E_POINTER: `stream` is null.  E_INVALIDARG: `bufferBytes` is below 1.  E_OUTOFMEMORY: no memory for the buffer.
    [[nodiscard]] HRESULT Initialize(IStream* stream, LONG bufferBytes) noexcept;

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        return m_control.Answers(iid) ? m_control.Give(object) : CStreamBase::QueryInterface(iid, object);
    }

    // ISequentialStream

    // S_FALSE: the source ended, or failed after the first bytes, before `cb` bytes; `*bytesRead` has the count.
    // A failure is returned only where not one byte could be given. A read of 0 bytes is S_OK and asks nobody.
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept override;
    // E_NOTIMPL, as from SetSize: whether the wrapped stream can be written isn't asked.
    STDMETHODIMP Write(const void*, ULONG, ULONG*) noexcept override { return E_NOTIMPL; }

    // IStream

    // `*newPosition` receives the position whatever happens. A failed seek of the wrapped stream leaves this one at the
    // position that it reported, 0 if it reported none. An unknown origin is S_OK and moves nothing.
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept override;
    STDMETHODIMP SetSize(ULARGE_INTEGER) noexcept override { return E_NOTIMPL; }
    // The wrapped stream is asked at the first call, and again only when `flag` differs from that of the last call.
    // Otherwise its last answer is repeated, so the size is the one at that time. If it failed, the same call again
    // gives S_OK and a record of zeros.
    // E_OUTOFMEMORY: everything but the name is filled in.
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) noexcept override;
    // A buffered stream over a clone of the wrapped one, with the same position and buffered bytes.
    // E_UNEXPECTED: the wrapped stream reported success and gave no clone.
    STDMETHODIMP Clone(IStream** clone) noexcept override;

private:
    [[nodiscard]] HRESULT Refill(Microsoft::WRL::ComPtr<IStream>& source, ULONG needed) noexcept;
    [[nodiscard]] ULONG AskHowMuch(ULONG needed) const noexcept;
    [[nodiscard]] HRESULT SeekTo(ULONGLONG target) noexcept;
    [[nodiscard]] HRESULT SeekSource(LARGE_INTEGER move, DWORD origin) noexcept;
    [[nodiscard]] HRESULT AskStat(DWORD flag) noexcept;
    ULONG Serve(BYTE* target, ULONG cb) noexcept;
    [[nodiscard]] BYTE* Bytes() noexcept { return reinterpret_cast<BYTE*>(m_lines.data()); }

    // The buffer begins at a cache line: the copies into it and out of it take up to a fifth longer otherwise.
    struct alignas(64) CacheLine {
        BYTE bytes[64];
    };

    framework::CStreamCookie m_source;
    framework::CControlFace m_control{*this};
    std::vector<CacheLine> m_lines;  // the buffer, in whole lines; its length is set once
    LONG m_capacity = 0;             // bytes of it that are used
    // Where the wrapped stream stands, as far as we know. No call needs it; whoever debugs a stream that lost its place
    // does.
    ULONGLONG m_underlyingPosition = 0;
    ULONGLONG m_position = 0;  // where callers see this stream stand
    LONG m_offset = 0;         // index in the buffer of the byte at m_position; never above m_fill
    LONG m_fill = 0;           // valid bytes, counted from the start of the buffer
    bool m_statValid = false;
    DWORD m_statFlag = 0;
    STATSTG m_stat{};  // pwcsName is null here; the name is m_statName
    base::CTaskMem<wchar_t> m_statName;
};

inline constexpr LONG kTKFDefaultBufferBytes = 0x20000;

// Makes a buffered stream over `stream`, which starts where that one stands.
//
// E_POINTER: `stream` or `bufferedStream` is null.  E_INVALIDARG: `bufferBytes` is below 1.  E_OUTOFMEMORY.  Otherwise
// the result of registering `stream` in the Global Interface Table.
[[nodiscard]] HRESULT TKFCreateBufferedStream(IStream* stream, IStream** bufferedStream,
                                              LONG bufferBytes = kTKFDefaultBufferBytes) noexcept;
