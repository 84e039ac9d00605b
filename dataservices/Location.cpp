#include "dataservices/Location.h"

#include "dataservices/FilePath.h"
#include "dataservices/Results.h"
#include "framework/uri/CTKFUri.h"

namespace dataservices {

namespace {

[[nodiscard]] HRESULT FindFile(const CTKFUri& uri, Location* location) {
    const std::wstring& path = uri.GetFilePath();
    if (path.empty())
        return E_INVALIDARG;
    std::wstring literal;
    HRESULT hr = LiteralPathOf(path, &literal);
    if (SUCCEEDED(hr))
        hr = FindPath(literal, location);
    // Only a folder may have a separator at its end.
    return SUCCEEDED(hr) && location->kind == Location::Kind::File && path.back() == L'\\' ? kNotFound : hr;
}

// No file URL leads to some paths; they are names as good.
[[nodiscard]] std::wstring UriOfPath(const std::wstring& path) {
    const auto uri = CTKFUri::Parse(path.c_str());
    const std::wstring url = uri ? uri->ToString() : std::wstring();
    return url.empty() ? path : url;
}

[[nodiscard]] std::wstring WithoutUserInfo(std::wstring url) {
    const auto uri = CTKFUri::Parse(url.c_str());
    if (uri && !uri->GetUserInfo().empty())
        url.erase(uri->GetScheme().size() + 3, uri->GetUserInfo().size() + 1);  // between "://" and the host, with '@'
    return url;
}

}  // namespace

HRESULT FindLocation(const std::wstring& name, Location* location) {
    const auto uri = CTKFUri::Parse(name.c_str());
    if (!uri)
        return E_INVALIDARG;
    if (uri->IsFileUrl())
        return FindFile(*uri, location);
    const std::wstring& scheme = uri->GetScheme();
    const bool isHttp = scheme == L"http" || scheme == L"https";
    if (!isHttp && scheme != L"data")
        return HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED);
    if (isHttp && uri->GetHost().empty())
        return E_INVALIDARG;
    *location = {isHttp ? Location::Kind::Http : Location::Kind::Data, name};
    return S_OK;
}

HRESULT FindPath(const std::wstring& literalPath, Location* location) {
    if (literalPath.find(L':', RootLength(literalPath)) != literalPath.npos)
        return kNotFound;
    const DWORD attributes = ::GetFileAttributesW(literalPath.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return ResultOfFileError(::GetLastError());
    *location = {(attributes & FILE_ATTRIBUTE_DIRECTORY) ? Location::Kind::Folder : Location::Kind::File, literalPath};
    return S_OK;
}

std::wstring UriOf(const Location& location) {
    switch (location.kind) {
        case Location::Kind::File:
        case Location::Kind::Folder:
            return UriOfPath(ReadablePath(location.text));
        case Location::Kind::Http:
            return WithoutUserInfo(location.text);
        case Location::Kind::Data:
            break;
    }
    return location.text;
}

}  // namespace dataservices
