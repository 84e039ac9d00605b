#include "framework/streams/TKFCreateMemoryStream.h"

#include "framework/streams/CMemoryStream.h"

using Microsoft::WRL::ComPtr;

HRESULT TKFCreateMemoryStream(const void* data, LONGLONG size, IStream** stream) noexcept {
    if (!stream)
        return E_POINTER;
    *stream = nullptr;
    ComPtr<CMemoryStream> made;
    HRESULT hr = framework::MakeComObject<CMemoryStream>(&made);
    if (SUCCEEDED(hr))
        hr = made->Initialize(data, size);
    return SUCCEEDED(hr) ? made.CopyTo(stream) : hr;
}
