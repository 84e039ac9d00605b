#include "framework/streams/TKFCreateStreamFromUri.h"

#include "diagnostics/CBstr.h"
#include "diagnostics/ComBoundary.h"
#include "framework/streams/CLocalFileSystemStream.h"
#include "framework/uri/CTKFUri.h"
#include "framework/values/CopyVariantToComPointer.h"

#include <objbase.h>
#include <oleauto.h>
#include <wrl/client.h>

#include "TKDataServices.h"

using Microsoft::WRL::ComPtr;

namespace {

[[nodiscard]] bool IsReadOrWritten(DWORD mode) noexcept {
    return (mode & (kTKFStreamRead | kTKFStreamWrite)) != 0;
}

[[nodiscard]] HRESULT GetAccessFactory(IUnknown* given, ComPtr<ITKDSUriAccessFactory>& factory) {
    if (given)
        return QueryFor(*given, factory.GetAddressOf());
    const HRESULT hr = ::CoCreateInstance(CLSID_TKDSUriAccessFactory, nullptr, CLSCTX_ALL, IID_PPV_ARGS(&factory));
    return SUCCEEDED(hr) && !factory ? E_NOINTERFACE : hr;
}

[[nodiscard]] HRESULT OpenAccessor(ITKDSUriAccessFactory& factory, const wchar_t* uri, CVariant& accessor) {
    const CBstr uriText(uri);
    const CBstr accessorId(TKDS_ACCESSOR_CREATESTREAM);
    return factory.OpenUriAs(uriText.Get(), accessorId.Get(), accessor.Put());
}

[[nodiscard]] constexpr unsigned long BitIf(DWORD condition, unsigned long bit) noexcept {
    return condition ? bit : 0;
}

[[nodiscard]] HRESULT CreateStream(const CVariant& accessor, DWORD mode, ComPtr<IStream>& stream) {
    const unsigned long share =
        BitIf(mode & kTKFStreamShareRead, TKDS_SHARE_READ) | BitIf(mode & kTKFStreamShareWrite, TKDS_SHARE_WRITE);
    // What a failed call leaves behind is not a stream to be released.
    IStream* made = nullptr;
    HRESULT hr;
    if (mode & kTKFStreamWrite) {
        const unsigned long access = TKDS_ACCESS_WRITE | BitIf(mode & kTKFStreamRead, TKDS_ACCESS_READ);
        ComPtr<ITKDSCreateWritableStream> writable;
        hr = CopyVariantToComPointer(accessor, writable.GetAddressOf());
        if (SUCCEEDED(hr))
            hr = writable->CreateWritableStream(access, share, &made);
    } else {
        ComPtr<ITKDSCreateStream> readable;
        hr = CopyVariantToComPointer(accessor, readable.GetAddressOf());
        if (SUCCEEDED(hr))
            hr = readable->CreateStream(TKDS_ACCESS_READ, share, &made);
    }
    if (FAILED(hr))
        return hr;
    *stream.GetAddressOf() = made;  // not Attach: some compilers' ComPtr takes a reference of its own there
    return made ? hr : E_FAIL;
}

[[nodiscard]] HRESULT OpenThroughDataService(const wchar_t* uri, DWORD mode, IStream** stream, IUnknown* accessFactory,
                                             IUnknown** usedAccessFactory) {
    ComPtr<ITKDSUriAccessFactory> factory;
    HRESULT hr = GetAccessFactory(accessFactory, factory);
    if (FAILED(hr))
        return hr;

    CVariant accessor;
    hr = OpenAccessor(*factory.Get(), uri, accessor);
    if (FAILED(hr))
        return hr;

    ComPtr<IStream> opened;
    hr = CreateStream(accessor, mode, opened);
    if (FAILED(hr))
        return hr;

    if (usedAccessFactory) {
        hr = factory->QueryInterface(IID_PPV_ARGS(usedAccessFactory));
        if (FAILED(hr))
            return hr;
    }
    *stream = opened.Detach();
    return hr;
}

}  // namespace

HRESULT TKFCreateStreamFromUri(const wchar_t* uri, DWORD mode, IStream** stream, IUnknown* accessFactory,
                               IUnknown** usedAccessFactory) noexcept {
    if (stream)
        *stream = nullptr;
    if (usedAccessFactory)
        *usedAccessFactory = nullptr;
    if (!uri || !*uri || !IsReadOrWritten(mode))
        return E_INVALIDARG;
    if (!stream)
        return E_POINTER;

    return ComBoundary([&]() -> HRESULT {
        const auto parsed = CTKFUri::Parse(uri);
        if (parsed && parsed->IsLocalFile())
            return TKFCreateLocalFileSystemStream(parsed->GetLocalPath().c_str(), mode, stream);
        return OpenThroughDataService(uri, mode, stream, accessFactory, usedAccessFactory);
    });
}
