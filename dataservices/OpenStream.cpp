#include "dataservices/OpenStream.h"

#include "TKDataServices.h"
#include "dataservices/com/Results.h"
#include "dataservices/data/CDataUriStream.h"
#include "dataservices/http/CreateHttpStream.h"
#include "dataservices/shares/CreateShareStream.h"
#include "framework/streams/CLocalFileSystemStream.h"

#include <utility>

namespace dataservices {

namespace {

using framework::BitsIf;

struct Wish {
    unsigned long access;
    unsigned long share;
    const SharedOptions& options;
};

[[nodiscard]] HRESULT OpenOne(const FilePlace& place, Wish wish, IStream** stream) {
    const DWORD mode = BitsIf(wish.access, TKDS_ACCESS_READ, kTKFStreamRead) |
                       BitsIf(wish.access, TKDS_ACCESS_WRITE, kTKFStreamWrite) |
                       BitsIf(wish.share, TKDS_SHARE_READ, kTKFStreamShareRead) |
                       BitsIf(wish.share, TKDS_SHARE_WRITE, kTKFStreamShareWrite);
    Microsoft::WRL::ComPtr<CLocalFileSystemStream> made;
    if (const HRESULT hr = framework::MakeComObject<CLocalFileSystemStream>(made.GetAddressOf()); FAILED(hr))
        return hr;
    if (const DWORD error = made->OpenFullPath(place.path.readable, place.path.literal, mode); error != ERROR_SUCCESS)
        return ResultOfFileError(error);
    // Where others may write, they are to see what is there now. Where they may not even read, nor may a second
    // connection.
    const bool isStored = wish.options->storesShares && wish.access == TKDS_ACCESS_READ &&
                          wish.share == TKDS_SHARE_READ && IsRemote(place.path.literal);
    if (isStored)
        return shares::CreateShareStream(std::move(made), {place.path, mode, wish.options}, stream);
    *stream = made.Detach();
    return S_OK;
}

[[nodiscard]] HRESULT OpenOne(const FolderPlace&, Wish, IStream**) {
    return E_NOINTERFACE;
}

[[nodiscard]] HRESULT OpenOne(const HttpPlace& place, Wish wish, IStream** stream) {
    return wish.access & TKDS_ACCESS_WRITE
               ? STG_E_ACCESSDENIED
               : http::CreateHttpStream(*place.url, stream, &::GetTickCount64, wish.options);
}

[[nodiscard]] HRESULT OpenOne(const DataPlace& place, Wish wish, IStream** stream) {
    return wish.access & TKDS_ACCESS_WRITE ? STG_E_ACCESSDENIED : CreateDataUriStream(place.parts, stream);
}

}  // namespace

HRESULT OpenStream(const Place& place, unsigned long access, unsigned long share, const SharedOptions& options,
                   IStream** stream) {
    *stream = nullptr;
    return std::visit([&](const auto& one) { return OpenOne(one, {access, share, options}, stream); }, place);
}

}  // namespace dataservices
