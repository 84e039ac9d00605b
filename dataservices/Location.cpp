#include "dataservices/Location.h"

#include "dataservices/FilePath.h"
#include "dataservices/Results.h"
#include "framework/uri/CTKFUri.h"

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
    const bool isPath = location.kind == Location::Kind::File || location.kind == Location::Kind::Folder;
    std::wstring text = isPath ? ReadablePath(location.text) : location.text;
    if (location.kind == Location::Kind::Data)
        return text;
    const auto uri = CTKFUri::Parse(text.c_str());
    if (isPath) {
        // No file URL leads to some paths; they are names as good.
        const std::wstring url = uri ? uri->ToString() : std::wstring();
        return url.empty() ? text : url;
    }
    if (!uri->GetUserInfo().empty())
        text.erase(uri->GetScheme().size() + 3, uri->GetUserInfo().size() + 1);  // between "://" and the host, with '@'
    return text;
}
