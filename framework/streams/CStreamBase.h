// The answers that most streams share: they can't be written or locked, have nothing to commit, and copy block by
// block. A stream that answers otherwise overrides the method and says why.
//
// Derived classes read, seek, tell their state and clone themselves.
// Units: positions and sizes are bytes.  Threads: as the derived class says.
#pragma once

#include "framework/com/CComObjectBase.h"
#include "framework/streams/CopyInBlocks.h"

namespace framework {

class CStreamBase : public CComObjectBase<IStream, ISequentialStream> {
public:
    // ISequentialStream
    // STG_E_ACCESSDENIED; `*bytesWritten` isn't touched.
    STDMETHODIMP Write(const void*, ULONG, ULONG* /*bytesWritten*/) noexcept override { return STG_E_ACCESSDENIED; }

    // IStream
    STDMETHODIMP SetSize(ULARGE_INTEGER) noexcept override { return STG_E_ACCESSDENIED; }
    // See CopyInBlocks.
    STDMETHODIMP CopyTo(IStream* target, ULARGE_INTEGER cb, ULARGE_INTEGER* bytesRead,
                        ULARGE_INTEGER* bytesWritten) noexcept override {
        return CopyInBlocks(*this, target, cb, bytesRead, bytesWritten);
    }
    STDMETHODIMP Commit(DWORD) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Revert() noexcept override { return E_NOTIMPL; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override { return STG_E_INVALIDFUNCTION; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override { return STG_E_INVALIDFUNCTION; }
};

}  // namespace framework
