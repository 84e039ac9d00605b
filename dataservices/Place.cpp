#include "dataservices/Place.h"

#include "dataservices/com/Results.h"
#include "framework/uri/FileUrlPath.h"
#include "framework/uri/NameForLog.h"

namespace dataservices {

namespace {

[[nodiscard]] HRESULT FindFile(const CTKFUri& uri, Place* place) {
    const std::wstring& path = uri.GetFilePath();
    if (path.empty())
        return E_INVALIDARG;
    FilePath paths;
    if (const HRESULT hr = FilePathOf(path, &paths); FAILED(hr))
        return hr;
    if (const HRESULT hr = FindPath(std::move(paths), place); FAILED(hr))
        return hr;
    // Only a folder may have a separator at its end.
    return std::holds_alternative<FilePlace>(*place) && path.back() == L'\\' ? kNotFound : S_OK;
}

// No file URL leads to some paths. For those the path itself serves as the name.
[[nodiscard]] std::wstring UriOfPath(const FilePath& path) {
    const std::wstring url = framework::FileUrlOfPath(path.readable);
    return url.empty() ? path.readable : url;
}

[[nodiscard]] std::wstring UriOfOne(const FilePlace& place) {
    return UriOfPath(place.path);
}

[[nodiscard]] std::wstring UriOfOne(const FolderPlace& place) {
    return UriOfPath(place.path);
}

[[nodiscard]] std::wstring UriOfOne(const HttpPlace& place) {
    return framework::WithoutUserInfo(*place.url);
}

[[nodiscard]] std::wstring UriOfOne(const DataPlace& place) {
    return place.uri->Text();
}

}  // namespace

HRESULT FindPlace(const std::wstring& name, Place* place) {
    return FindPlace(CTKFUri::Parse(name.c_str()), place);
}

HRESULT FindPlace(const boost::shared_ptr<const CTKFUri>& name, Place* place) {
    if (!name)
        return E_INVALIDARG;
    if (name->IsFileUrl())
        return FindFile(*name, place);
    const std::wstring& scheme = name->GetScheme();
    if (scheme == L"data") {
        *place = DataPlace{name, ParseDataUri(name->Text())};
        return S_OK;
    }
    if (scheme != L"http" && scheme != L"https")
        return HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED);
    if (name->GetHost().empty())
        return E_INVALIDARG;
    *place = HttpPlace{name};
    return S_OK;
}

HRESULT FindPath(FilePath path, Place* place) {
    if (path.literal.find(L':', RootLength(path.literal)) != path.literal.npos)
        return kNotFound;
    const DWORD attributes = ::GetFileAttributesW(path.literal.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return ResultOfFileError(::GetLastError());
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        *place = FolderPlace{std::move(path)};
    else
        *place = FilePlace{std::move(path)};
    return S_OK;
}

std::wstring UriOf(const Place& place) {
    return std::visit([](const auto& one) { return UriOfOne(one); }, place);
}

}  // namespace dataservices
