// What all streams of this layer that can't be written have in common.
//
// Derived classes read, seek, tell their state and clone themselves; everything else is answered here or by
// CStreamBase. Units: positions and sizes are bytes; both stay below 2^63.  Threads: as the derived class says.
#pragma once

#include "dataservices/com/CErrorReporting.h"
#include "dataservices/com/ComMethod.h"
#include "dataservices/com/Results.h"
#include "framework/streams/CStreamBase.h"

#include <optional>

namespace dataservices {

class CReadOnlyStream : public CErrorReporting<framework::CStreamBase, IStream, ISequentialStream> {
public:
    // ISequentialStream
    // STG_E_ACCESSDENIED, and the count is 0: callers of this layer need not have cleared it.
    STDMETHODIMP Write(const void*, ULONG, ULONG* bytesWritten) noexcept final {
        if (bytesWritten)
            *bytesWritten = 0;
        return Answer(STG_E_ACCESSDENIED);
    }

    // IStream
    STDMETHODIMP SetSize(ULARGE_INTEGER) noexcept final { return Answer(STG_E_ACCESSDENIED); }
    // As CopyInBlocks, but a source that fails is a failure of the copy.
    STDMETHODIMP CopyTo(IStream* target, ULARGE_INTEGER cb, ULARGE_INTEGER* bytesRead,
                        ULARGE_INTEGER* bytesWritten) noexcept final {
        HRESULT read = S_OK;
        const HRESULT hr = framework::CopyInBlocks(*this, target, cb, bytesRead, bytesWritten, &read);
        return Answer(FAILED(read) ? read : hr);
    }
    // Nothing is ever outstanding, so there is nothing to fail at.
    STDMETHODIMP Commit(DWORD) noexcept final { return S_OK; }
    STDMETHODIMP Revert() noexcept final { return S_OK; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept final {
        return Answer(STG_E_INVALIDFUNCTION);
    }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept final {
        return Answer(STG_E_INVALIDFUNCTION);
    }

protected:
    // What a method of the stream that throws nothing returns, with the error info that goes with it; see ComMethod.
    [[nodiscard]] static HRESULT Answer(HRESULT hr) noexcept { return MethodResult(hr).Report(__uuidof(IStream)); }

    // Where Seek leads from `position` in a source of `length` bytes; an unknown length is empty. A target beyond the
    // end is allowed.
    // STG_E_INVALIDFUNCTION: unknown origin, or a place before the start or beyond 63 bits.  0x80040003: the end of a
    // source of unknown length is asked for.
    [[nodiscard]] static HRESULT SeekTarget(LARGE_INTEGER move, DWORD origin, ULONGLONG position,
                                            std::optional<ULONGLONG> length, ULONGLONG* target) noexcept {
        if (origin != STREAM_SEEK_SET && origin != STREAM_SEEK_CUR && origin != STREAM_SEEK_END)
            return STG_E_INVALIDFUNCTION;
        if (origin == STREAM_SEEK_END && !length)
            return kCannotSeek;
        ULONGLONG base = 0;
        if (origin == STREAM_SEEK_CUR)
            base = position;
        else if (origin == STREAM_SEEK_END)
            base = *length;
        const ULONGLONG reached = base + static_cast<ULONGLONG>(move.QuadPart);  // modulo 2^64
        if (reached > kLastPosition)
            return STG_E_INVALIDFUNCTION;
        *target = reached;
        return S_OK;
    }

    static constexpr ULONGLONG kLastPosition = 0x7FFFFFFFFFFFFFFF;
};

}  // namespace dataservices
