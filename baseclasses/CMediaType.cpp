#include "baseclasses/CMediaType.h"

#include <algorithm>
#include <utility>

namespace {

bool SameFormatBlock(const AM_MEDIA_TYPE& one, const AM_MEDIA_TYPE& other) noexcept {
    return std::ranges::equal(FormatBlock(one), FormatBlock(other));
}

}  // namespace

CMediaType::CMediaType() noexcept : AM_MEDIA_TYPE{} {
    InitMediaType();
}

CMediaType::CMediaType(const GUID* majorType) noexcept : CMediaType() {
    majortype = *majorType;
}

CMediaType::CMediaType(const CMediaType& other) noexcept : CMediaType(static_cast<const AM_MEDIA_TYPE&>(other)) {}

CMediaType::CMediaType(const AM_MEDIA_TYPE& other, HRESULT* phr) noexcept : CMediaType() {
    const HRESULT hr = Set(other);
    if (FAILED(hr) && phr)
        *phr = hr;
}

CMediaType& CMediaType::operator=(const CMediaType& other) noexcept {
    return *this = static_cast<const AM_MEDIA_TYPE&>(other);
}

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& other) noexcept {
    if (FAILED(Set(other)))
        InitMediaType();
    return *this;
}

CMediaType::~CMediaType() {
    FreeMediaType(*this);
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& other) noexcept {
    AM_MEDIA_TYPE copy;
    const HRESULT hr = CopyMediaType(&copy, &other);
    if (FAILED(hr))
        return hr;
    std::swap(static_cast<AM_MEDIA_TYPE&>(*this), copy);
    FreeMediaType(copy);
    return S_OK;
}

void CMediaType::Swap(CMediaType& other) noexcept {
    std::swap(static_cast<AM_MEDIA_TYPE&>(*this), static_cast<AM_MEDIA_TYPE&>(other));
}

void CMediaType::InitMediaType() noexcept {
    FreeMediaType(*this);
    static_cast<AM_MEDIA_TYPE&>(*this) = {};
    bFixedSizeSamples = TRUE;
    lSampleSize = 1;
}

bool CMediaType::operator==(const CMediaType& other) const noexcept {
    return majortype == other.majortype && subtype == other.subtype && formattype == other.formattype &&
           SameFormatBlock(*this, other);
}

BOOL CMediaType::IsValid() const noexcept {
    return majortype != GUID_NULL;
}

BOOL CMediaType::IsPartiallySpecified() const noexcept {
    return majortype == GUID_NULL || formattype == GUID_NULL;
}

BOOL CMediaType::MatchesPartial(const CMediaType* partial) const noexcept {
    if (partial->majortype != GUID_NULL && partial->majortype != majortype)
        return FALSE;
    if (partial->subtype != GUID_NULL && partial->subtype != subtype)
        return FALSE;
    return partial->formattype == GUID_NULL || (partial->formattype == formattype && SameFormatBlock(*partial, *this));
}

BOOL CMediaType::SetFormat(const BYTE* format, ULONG length) noexcept {
    if (!format && length != 0)
        return FALSE;
    // As a copy of a whole type, because `format` may lie inside the present block.
    AM_MEDIA_TYPE type = *this;
    type.pbFormat = const_cast<BYTE*>(format);
    type.cbFormat = length;
    return SUCCEEDED(Set(type));
}

BYTE* CMediaType::AllocFormatBuffer(ULONG length) noexcept {
    if (length == cbFormat)
        return pbFormat;
    if (length == 0) {
        ResetFormatBuffer();
        return nullptr;
    }
    auto* const block = static_cast<BYTE*>(::CoTaskMemAlloc(length));
    if (!block)
        return nullptr;
    ResetFormatBuffer();
    pbFormat = block;
    cbFormat = length;
    return block;
}

void CMediaType::ResetFormatBuffer() noexcept {
    if (cbFormat != 0)
        ::CoTaskMemFree(pbFormat);
    cbFormat = 0;
    pbFormat = nullptr;
}
