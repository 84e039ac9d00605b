#include "tvsource/graph/Png.h"

#include "base/ForeignCalls.h"
#include "tvsource/report/CHostError.h"

#include <wincodec.h>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

constexpr wchar_t kFailed[] = L"Cannot make a PNG picture";

std::vector<BYTE> BytesOf(IStream& stream) {
    HGLOBAL memory = nullptr;
    STATSTG status{};
    Check(::GetHGlobalFromStream(&stream, &memory), kFailed);
    Check(stream.Stat(&status, STATFLAG_NONAME), kFailed);
    const auto* bytes = static_cast<const BYTE*>(::GlobalLock(memory));
    if (!bytes)
        throw CHostError(kFailed, E_OUTOFMEMORY);
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
    Check(base::CreateObject(CLSID_WICImagingFactory, factory), L"The platform's imaging component can't be had");
    Check(::CreateStreamOnHGlobal(nullptr, TRUE, &stream), kFailed);
    Check(factory->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoder), kFailed);
    Check(encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache), kFailed);
    Check(encoder->CreateNewFrame(&frame, nullptr), kFailed);
    Check(frame->Initialize(nullptr), kFailed);
    Check(frame->SetSize(picture.width, picture.height), kFailed);
    WICPixelFormatGUID format = GUID_WICPixelFormat24bppBGR;
    Check(frame->SetPixelFormat(&format), kFailed);
    if (format != GUID_WICPixelFormat24bppBGR)
        throw CHostError(kFailed, WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT);
    // The interface takes what it only reads without const.
    Check(frame->WritePixels(picture.height, picture.width * 3, static_cast<UINT>(picture.points.size()),
                             const_cast<BYTE*>(picture.points.data())),
          kFailed);
    Check(frame->Commit(), kFailed);
    Check(encoder->Commit(), kFailed);
    return BytesOf(*stream.Get());
}

}  // namespace tvsource
