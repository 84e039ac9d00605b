#include "framework/streams/TKFCreateStreamFromUri.h"

#include "TKDataServices.h"
#include "base/CBstr.h"
#include "base/ComBoundary.h"
#include "base/ForeignCalls.h"
#include "framework/streams/CLocalFileSystemStream.h"
#include "framework/values/CopyVariantToComPointer.h"

#include <oleauto.h>
#include <wrl/client.h>

using framework::BitsIf;
using Microsoft::WRL::ComPtr;

namespace {

[[nodiscard]] bool IsReadOrWritten(DWORD mode) noexcept {
    return (mode & (kTKFStreamRead | kTKFStreamWrite)) != 0;
}

[[nodiscard]] HRESULT GetAccessFactory(IUnknown* given, ComPtr<ITKDSUriAccessFactory>& factory) {
    return given ? base::QueryFor(*given, factory.GetAddressOf())
                 : base::CreateObject(CLSID_TKDSUriAccessFactory, factory);
}

[[nodiscard]] HRESULT OpenAccessor(ITKDSUriAccessFactory& factory, const wchar_t* uri, framework::CVariant& accessor) {
    const base::CBstr uriText(uri);
    const base::CBstr accessorId(TKDS_ACCESSOR_CREATESTREAM);
    return factory.OpenUriAs(uriText.Get(), accessorId.Get(), accessor.Put());
}

[[nodiscard]] HRESULT CreateStream(const framework::CVariant& accessor, DWORD mode, ComPtr<IStream>& stream) {
    const unsigned long share =
        BitsIf(mode, kTKFStreamShareRead, TKDS_SHARE_READ) | BitsIf(mode, kTKFStreamShareWrite, TKDS_SHARE_WRITE);
    if (mode & kTKFStreamWrite) {
        const unsigned long access = TKDS_ACCESS_WRITE | BitsIf(mode, kTKFStreamRead, TKDS_ACCESS_READ);
        ComPtr<ITKDSCreateWritableStream> writable;
        if (const HRESULT hr = CopyVariantToComPointer(accessor, writable.GetAddressOf()); FAILED(hr))
            return hr;
        return base::Receive(stream, writable.Get(), &ITKDSCreateWritableStream::CreateWritableStream, access, share);
    }
    ComPtr<ITKDSCreateStream> readable;
    if (const HRESULT hr = CopyVariantToComPointer(accessor, readable.GetAddressOf()); FAILED(hr))
        return hr;
    return base::Receive(stream, readable.Get(), &ITKDSCreateStream::CreateStream, TKDS_ACCESS_READ, share);
}

[[nodiscard]] HRESULT OpenThroughDataService(const wchar_t* uri, DWORD mode, IStream** stream, IUnknown* accessFactory,
                                             IUnknown** usedAccessFactory) {
    ComPtr<ITKDSUriAccessFactory> factory;
    if (const HRESULT hr = GetAccessFactory(accessFactory, factory); FAILED(hr))
        return hr;
    framework::CVariant accessor;
    if (const HRESULT hr = OpenAccessor(*factory.Get(), uri, accessor); FAILED(hr))
        return hr;
    ComPtr<IStream> opened;
    HRESULT hr = CreateStream(accessor, mode, opened);
    if (FAILED(hr))
        return hr;
    if (usedAccessFactory) {
        hr = base::QueryFor(*factory.Get(), usedAccessFactory);
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
    return base::ComBoundary([&] {
        return TKFCreateStreamFromUri(framework::CParsedName(uri), mode, stream, accessFactory, usedAccessFactory);
    });
}

HRESULT TKFCreateStreamFromUri(const framework::CParsedName& name, DWORD mode, IStream** stream,
                               IUnknown* accessFactory, IUnknown** usedAccessFactory) noexcept {
    if (stream)
        *stream = nullptr;
    if (usedAccessFactory)
        *usedAccessFactory = nullptr;
    if (name.Text().empty() || !IsReadOrWritten(mode))
        return E_INVALIDARG;
    if (!stream)
        return E_POINTER;

    return base::ComBoundary([&] {
        const CTKFUri* const uri = name.Uri();
        if (uri && uri->IsLocalFile())
            return TKFCreateLocalFileSystemStream(uri->GetLocalPath().c_str(), mode, stream);
        return OpenThroughDataService(name.Text().c_str(), mode, stream, accessFactory, usedAccessFactory);
    });
}
