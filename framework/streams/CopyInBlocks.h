// The body of IStream::CopyTo that most streams share by way of CStreamBase. (The memory stream answers a target that
// takes less in a way of its own.)
#pragma once

#include <windows.h>

#include <objidl.h>

namespace framework {

// Copies up to `cb` bytes from where `source` stands to `target`, through a block of 16384 bytes on the stack. Either
// total may be null; they are kept up to date as the copy goes on.
//
// S_OK: all that was read was written, also when the source ended before `cb` bytes.  STG_E_MEDIUMFULL: the totals
// differ.  E_POINTER: `target` is null.  What `source` and `target` return is not looked at: an error on either side
// ends the copy early or shows in the totals. `readResult`, if it isn't null, receives what the last read returned, for
// those who do look at it.
[[nodiscard]] HRESULT CopyInBlocks(ISequentialStream& source, ISequentialStream* target, ULARGE_INTEGER cb,
                                   ULARGE_INTEGER* readTotal, ULARGE_INTEGER* writtenTotal,
                                   HRESULT* readResult = nullptr) noexcept;

}  // namespace framework
