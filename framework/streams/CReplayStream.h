// A stream in front of another one, the source. It keeps the bytes that are read from the source's start, so that a
// reader can go back and read them a second time, even if the source can't seek.
//
// A read gives what one read of the source gave, and doesn't wait for more. From the start until EndKeeping, what is
// read is kept, up to kMostKept bytes; seeks to what is kept don't reach the source. The first seek to anywhere else,
// and the first read of more than can be kept, test whether the source can go back. If it can, nothing is kept here any
// more: from then on every call goes to the source as it is. If it can't, it isn't moved, and until EndKeeping this
// stream seems to end where no more can be kept. After EndKeeping the kept bytes can be read once more. The stream is
// read-only.
//
// It answers ITKDSSourceControl where the source does, and passes its calls on: they speak of the source, not of what
// is kept here.
//
// Units: positions and sizes are bytes.
// Threads, apartments: as CBufferedStream.  Lifetime: holds the source until the last reference goes.
// Errors: those of the Global Interface Table and of the source are returned unchanged; an exception of the source
// counts as its failure.
#pragma once

#include "framework/com/CStreamCookie.h"
#include "framework/streams/CControlFace.h"
#include "framework/streams/CStreamBase.h"

#include <vector>

namespace framework {

class CReplayStream final : public CStreamBase {
public:
    static constexpr size_t kMostKept = 256 * 1024;

    CReplayStream() noexcept = default;

    // To be called once, before any other method. A source that can't tell its position counts as standing at 0.
    // E_OUTOFMEMORY: no room for what is to be kept.
    [[nodiscard]] HRESULT Initialize(IStream* source) noexcept;

    // Nothing that is read from now on is kept. Moves the source to where this stream stands. If the source gets there,
    // what was kept is dropped.
    void EndKeeping() noexcept;

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        return m_control.Answers(iid) ? m_control.Give(object) : CStreamBase::QueryInterface(iid, object);
    }

    // ISequentialStream
    // S_FALSE: fewer bytes than were asked for are kept or can be kept, or the source said S_FALSE. Only a read of 0
    // bytes means the end, or that no more can be kept.
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept override;

    // IStream
    // `*newPosition` receives the position whatever happens. While anything is kept, a seek that fails moves nothing.
    // Otherwise this stream then stands where the source says that it stands, or at 0 if the source says nothing.
    // STG_E_SEEKERROR: the source claims to have moved, and hasn't.
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept override;
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) noexcept override;
    // The clone gives what is kept once more, too; it keeps nothing else.
    // E_UNEXPECTED: the source reported success and gave no clone.
    STDMETHODIMP Clone(IStream** clone) noexcept override;

private:
    void Drop() noexcept;
    [[nodiscard]] HRESULT CutToRoom(ULONG& cb) noexcept;
    [[nodiscard]] HRESULT LeaveKept() noexcept;
    [[nodiscard]] HRESULT MoveSource(ULONGLONG position) const noexcept;
    [[nodiscard]] HRESULT AskSeek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) const noexcept;
    [[nodiscard]] HRESULT SeekSource(LARGE_INTEGER move, DWORD origin) noexcept;
    [[nodiscard]] ULONGLONG End() const noexcept { return m_start + m_kept.size(); }

    CStreamCookie m_source;
    CControlFace m_control{*this};
    std::vector<BYTE> m_kept;  // all from m_start to where the source stands; empty when nothing is kept
    ULONGLONG m_start = 0;     // the first kept byte's position
    ULONGLONG m_position = 0;  // where callers see this stream stand
    bool m_isKeeping = true;
};

}  // namespace framework
