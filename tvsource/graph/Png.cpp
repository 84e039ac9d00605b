#include "tvsource/graph/Png.h"

#include "base/ForeignCalls.h"
#include "console/CCommandError.h"

#include <wincodec.h>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

constexpr wchar_t kFailed[] = L"Cannot make a PNG picture";

std::vector<BYTE> BytesOf(IStream& stream) {
    HGLOBAL memory = nullptr;
    STATSTG status{};
    console::Check(::GetHGlobalFromStream(&stream, &memory), kFailed);
    console::Check(stream.Stat(&status, STATFLAG_NONAME), kFailed);
    const auto* bytes = static_cast<const BYTE*>(::GlobalLock(memory));
    if (!bytes)
        throw console::CCommandError(kFailed, E_OUTOFMEMORY);
    std::vector<BYTE> copy(bytes, bytes + static_cast<size_t>(status.cbSize.QuadPart));
    ::GlobalUnlock(memory);
    return copy;
}

}  // namespace

std::vector<BYTE> PngOf(const Picture& picture) {
    ComPtr<IWICImagingFactory> factory;
    ComPtr<IStream> stream;
    ComPtr<IWICBitmapEncoder> encoder;
    ComPtr<IWICBitmapFrameEncode> frame;
    console::Check(base::CreateObject(CLSID_WICImagingFactory, factory),
                   L"The platform's imaging component can't be had");
    console::Check(::CreateStreamOnHGlobal(nullptr, TRUE, &stream), kFailed);
    console::Check(factory->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoder), kFailed);
    console::Check(encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache), kFailed);
    console::Check(encoder->CreateNewFrame(&frame, nullptr), kFailed);
    console::Check(frame->Initialize(nullptr), kFailed);
    console::Check(frame->SetSize(picture.width, picture.height), kFailed);
    WICPixelFormatGUID format = GUID_WICPixelFormat24bppBGR;
    console::Check(frame->SetPixelFormat(&format), kFailed);
    if (format != GUID_WICPixelFormat24bppBGR)
        throw console::CCommandError(kFailed, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
    // The interface takes what it only reads without const.
    console::Check(frame->WritePixels(picture.height, picture.width * 3, static_cast<UINT>(picture.points.size()),
                                      const_cast<BYTE*>(picture.points.data())),
                   kFailed);
    console::Check(frame->Commit(), kFailed);
    console::Check(encoder->Commit(), kFailed);
    return BytesOf(*stream.Get());
}

}  // namespace tvsource
