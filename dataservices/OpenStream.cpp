#include "dataservices/OpenStream.h"

#include "TKDataServices.h"
#include "dataservices/com/Results.h"
#include "dataservices/data/CDataUriStream.h"
#include "dataservices/http/CHttpStream.h"
#include "framework/streams/CLocalFileSystemStream.h"

namespace dataservices {

namespace {

using framework::BitsIf;

struct Wish {
    unsigned long access;
    unsigned long share;
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
    *stream = made.Detach();
    return S_OK;
}

[[nodiscard]] HRESULT OpenOne(const FolderPlace&, Wish, IStream**) {
    return E_NOINTERFACE;
}

[[nodiscard]] HRESULT OpenOne(const HttpPlace& place, Wish wish, IStream** stream) {
    return wish.access & TKDS_ACCESS_WRITE ? STG_E_ACCESSDENIED : http::CreateHttpStream(*place.url, stream);
}

[[nodiscard]] HRESULT OpenOne(const DataPlace& place, Wish wish, IStream** stream) {
    return wish.access & TKDS_ACCESS_WRITE ? STG_E_ACCESSDENIED : CreateDataUriStream(place.parts, stream);
}

}  // namespace

HRESULT OpenStream(const Place& place, unsigned long access, unsigned long share, IStream** stream) {
    *stream = nullptr;
    return std::visit([&](const auto& one) { return OpenOne(one, {access, share}, stream); }, place);
}

}  // namespace dataservices
