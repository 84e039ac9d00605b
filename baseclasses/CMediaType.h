// A media type that owns its format block and counts its pUnk. It adds nothing to the layout of AM_MEDIA_TYPE, whose
// fields stay accessible.
//
// Units: bytes.  Threads: as for a plain value.
// Errors: a copy may run out of memory. Set() reports that; the copy operators can't, and leave the type empty
// (IsValid() is false).
#pragma once

#include "baseclasses/MediaTypeCopies.h"

class CMediaType : public AM_MEDIA_TYPE {
public:
    // An empty type: nothing specified, samples of a fixed size of 1 byte.
    CMediaType() noexcept;
    explicit CMediaType(const GUID* majorType) noexcept;
    CMediaType(const CMediaType& other) noexcept;
    // E_OUTOFMEMORY is written to `*phr`, and success leaves it alone; `phr` may be null.
    explicit CMediaType(const AM_MEDIA_TYPE& other, HRESULT* phr = nullptr) noexcept;
    CMediaType& operator=(const CMediaType& other) noexcept;
    CMediaType& operator=(const AM_MEDIA_TYPE& other) noexcept;
    ~CMediaType();

    // Becomes a deep copy of `other`.  E_OUTOFMEMORY: the type is what it was.
    [[nodiscard]] HRESULT Set(const AM_MEDIA_TYPE& other) noexcept;
    void Swap(CMediaType& other) noexcept;
    // Becomes empty, and frees what it owned.
    void InitMediaType() noexcept;

    // Equal major type, subtype, format type and format block.
    [[nodiscard]] bool operator==(const CMediaType& other) const noexcept;

    // Whether a major type is set.
    [[nodiscard]] BOOL IsValid() const noexcept;
    // Whether the major type or the format type is left open. An open subtype doesn't count: many types have none.
    [[nodiscard]] BOOL IsPartiallySpecified() const noexcept;
    // Whether this type agrees with everything that `partial`, which is not null, specifies. The format block counts
    // only where a format type is given.
    [[nodiscard]] BOOL MatchesPartial(const CMediaType* partial) const noexcept;

    [[nodiscard]] const GUID* Type() const noexcept { return &majortype; }
    [[nodiscard]] const GUID* Subtype() const noexcept { return &subtype; }
    [[nodiscard]] const GUID* FormatType() const noexcept { return &formattype; }
    void SetType(const GUID* type) noexcept { majortype = *type; }
    void SetSubtype(const GUID* type) noexcept { subtype = *type; }
    void SetFormatType(const GUID* type) noexcept { formattype = *type; }

    [[nodiscard]] BYTE* Format() const noexcept { return pbFormat; }
    [[nodiscard]] ULONG FormatLength() const noexcept { return cbFormat; }
    // Makes `format` the format block.  FALSE: no memory, or a null `format` of some length; the block is what it was.
    [[nodiscard]] BOOL SetFormat(const BYTE* format, ULONG length) noexcept;
    // Gives the format block this length; the content is undefined unless it had that length before. Length 0 removes
    // it. Null: no memory, and the block is what it was; or the length was 0.
    BYTE* AllocFormatBuffer(ULONG length) noexcept;
    // Removes the format block.
    void ResetFormatBuffer() noexcept;
};
