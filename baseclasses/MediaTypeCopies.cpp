#include "baseclasses/MediaTypeCopies.h"

#include <cstring>

std::span<const BYTE> FormatBlock(const AM_MEDIA_TYPE& type) noexcept {
    if (!type.pbFormat)
        return {};
    return {type.pbFormat, type.cbFormat};
}

HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source) noexcept {
    if (!target || !source)
        return E_POINTER;
    const std::span<const BYTE> block = FormatBlock(*source);
    BYTE* copy = nullptr;
    if (!block.empty()) {
        copy = static_cast<BYTE*>(::CoTaskMemAlloc(block.size()));
        if (!copy) {
            *target = {};
            return E_OUTOFMEMORY;
        }
        std::memcpy(copy, block.data(), block.size());
    }
    *target = *source;
    target->pbFormat = copy;
    target->cbFormat = static_cast<ULONG>(block.size());
    if (target->pUnk)
        target->pUnk->AddRef();
    return S_OK;
}

void FreeMediaType(AM_MEDIA_TYPE& type) noexcept {
    // By convention the pointer means nothing, and may be garbage, where the length is 0.
    if (type.cbFormat != 0)
        ::CoTaskMemFree(type.pbFormat);
    type.cbFormat = 0;
    type.pbFormat = nullptr;
    if (type.pUnk) {
        type.pUnk->Release();
        type.pUnk = nullptr;
    }
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source) noexcept {
    auto* const type = static_cast<AM_MEDIA_TYPE*>(::CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (type && FAILED(CopyMediaType(type, source))) {
        ::CoTaskMemFree(type);
        return nullptr;
    }
    return type;
}

void DeleteMediaType(AM_MEDIA_TYPE* type) noexcept {
    if (!type)
        return;
    FreeMediaType(*type);
    ::CoTaskMemFree(type);
}
