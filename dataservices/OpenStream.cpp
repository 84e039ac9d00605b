#include "dataservices/OpenStream.h"

#include "base/CAutoDestructor.h"
#include "dataservices/FilePath.h"
#include "dataservices/Results.h"
#include "dataservices/data/DataUri.h"
#include "dataservices/http/CHttpStream.h"
#include "framework/streams/CLocalFileSystemStream.h"

#include "TKDataServices.h"

namespace dataservices {

namespace {

[[nodiscard]] constexpr DWORD BitIf(unsigned long condition, DWORD bit) noexcept {
    return condition ? bit : 0;
}

// The framework's stream has one failure for most reasons; the platform is asked again for the one that it is.
[[nodiscard]] HRESULT ReasonOfFailure(const std::wstring& path, unsigned long access, unsigned long share,
                                      HRESULT failure) {
    const base::CAutoHandle file(::CreateFileW(
        path.c_str(), BitIf(access & TKDS_ACCESS_READ, GENERIC_READ) | BitIf(access & TKDS_ACCESS_WRITE, GENERIC_WRITE),
        BitIf(share & TKDS_SHARE_READ, FILE_SHARE_READ) | BitIf(share & TKDS_SHARE_WRITE, FILE_SHARE_WRITE), nullptr,
        OPEN_EXISTING, 0, nullptr));
    return file ? failure : ResultOfFileError(::GetLastError());
}

[[nodiscard]] HRESULT OpenFileStream(const std::wstring& path, unsigned long access, unsigned long share,
                                     IStream** stream) {
    const DWORD mode =
        BitIf(access & TKDS_ACCESS_READ, kTKFStreamRead) | BitIf(access & TKDS_ACCESS_WRITE, kTKFStreamWrite) |
        BitIf(share & TKDS_SHARE_READ, kTKFStreamShareRead) | BitIf(share & TKDS_SHARE_WRITE, kTKFStreamShareWrite);
    const HRESULT hr = TKFCreateLocalFileSystemStream(ReadablePath(path).c_str(), mode, stream);
    return FAILED(hr) ? ReasonOfFailure(path, access, share, hr) : hr;
}

}  // namespace

HRESULT OpenStream(const Location& location, unsigned long access, unsigned long share, IStream** stream) {
    *stream = nullptr;
    const bool writes = (access & TKDS_ACCESS_WRITE) != 0;
    switch (location.kind) {
        case Location::Kind::File:
            return OpenFileStream(location.text, access, share, stream);
        case Location::Kind::Folder:
            return E_NOINTERFACE;
        case Location::Kind::Http:
            return writes ? STG_E_ACCESSDENIED : http::CreateHttpStream(location.text.c_str(), stream);
        case Location::Kind::Data:
            return writes ? STG_E_ACCESSDENIED : CreateDataUriStream(location.text.c_str(), stream);
    }
    return E_UNEXPECTED;
}

}  // namespace dataservices
