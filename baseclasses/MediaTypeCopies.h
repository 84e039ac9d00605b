// Copies of media types in the form in which COM interfaces pass them: an AM_MEDIA_TYPE whose format block is task
// memory and whose pUnk is counted.
//
// A media type comes from strangers: one that claims a format block and has none counts as one without a format block.
// Units: bytes.  Threads: any.
#pragma once

#include "baseclasses/DirectShow.h"

#include <span>

// The format block of `type`; empty if there is none.
[[nodiscard]] std::span<const BYTE> FormatBlock(const AM_MEDIA_TYPE& type) noexcept;

// Makes `*target`, whose former content is ignored, a deep copy of `*source`.
// E_POINTER: one of the two is null.  E_OUTOFMEMORY: `*target` is all zero.
[[nodiscard]] HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source) noexcept;

// Frees what `type` owns, and leaves it without format block and pUnk.
void FreeMediaType(AM_MEDIA_TYPE& type) noexcept;

// A deep copy in task memory, for DeleteMediaType. Null if there is no memory or `source` is null.
[[nodiscard]] AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source) noexcept;

// Frees what `type` owns, and itself. Null is ignored.
void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept;
