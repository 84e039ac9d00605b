#include "dataservices/FilePath.h"

#include "base/CAutoDestructor.h"
#include "base/LongPath.h"

#include <algorithm>

namespace dataservices {

namespace {

[[nodiscard]] bool IsLiteralShare(std::wstring_view path) noexcept {
    return path.size() >= base::kLiteralSharePrefix.size() &&
           ::CompareStringOrdinal(path.data(), static_cast<int>(base::kLiteralSharePrefix.size()),
                                  base::kLiteralSharePrefix.data(), static_cast<int>(base::kLiteralSharePrefix.size()),
                                  TRUE) == CSTR_EQUAL;
}

[[nodiscard]] std::wstring WithoutLiteralPrefix(const std::wstring& literal) {
    return IsLiteralShare(literal) ? std::wstring(base::kSharePrefix).append(literal, base::kLiteralSharePrefix.size())
                                   : literal.substr(base::kLiteralPrefix.size());
}

}  // namespace

HRESULT FilePathOf(const std::wstring& path, FilePath* paths) {
    const std::wstring full = base::FullPathOf(path);
    if (full.starts_with(base::kDevicePrefix))
        return E_INVALIDARG;
    std::wstring made;
    if (full.starts_with(base::kLiteralPrefix))
        made = full;
    else if (full.starts_with(base::kSharePrefix))
        made.append(base::kLiteralSharePrefix).append(full, base::kSharePrefix.size());
    else
        made.append(base::kLiteralPrefix).append(full);

    const size_t root = RootLength(made);
    while (made.size() > root && made.back() == L'\\')
        made.pop_back();
    if (made.size() == root && made.back() != L'\\')
        made.push_back(L'\\');  // the root of a share is a folder only with it
    // A path that was full as it was given is known to lead back without another look.
    std::wstring readable = WithoutLiteralPrefix(made);
    const bool leadsBack = (readable == path ? full : base::FullPathOf(readable)) == readable;
    *paths = {made, leadsBack ? std::move(readable) : made};
    return S_OK;
}

std::wstring ReadablePath(const std::wstring& literal) {
    const std::wstring readable = WithoutLiteralPrefix(literal);
    return base::FullPathOf(readable) == readable ? readable : literal;
}

size_t RootLength(std::wstring_view literal) {
    size_t end = IsLiteralShare(literal) ? base::kLiteralSharePrefix.size() : base::kLiteralPrefix.size();
    for (int names = IsLiteralShare(literal) ? 2 : 1; names > 0; --names)
        end = std::min(literal.find(L'\\', end), literal.size() - 1) + 1;
    return end;
}

bool IsRemote(const std::wstring& literal) {
    return IsLiteralShare(literal) || ::GetDriveTypeW(literal.substr(0, RootLength(literal)).c_str()) == DRIVE_REMOTE;
}

std::wstring JoinPath(const std::wstring& literalFolder, std::wstring_view name) {
    std::wstring path = literalFolder;
    if (path.back() != L'\\')
        path.push_back(L'\\');
    return path.append(name);
}

std::wstring ListedName(const std::wstring& literal) {
    WIN32_FIND_DATAW data{};
    const base::CAutoFind search(::FindFirstFileW(literal.c_str(), &data));
    return search ? data.cFileName : literal.substr(literal.rfind(L'\\') + 1);  // it has just been renamed
}

bool IsFileName(std::wstring_view name) noexcept {
    // The platform takes '"', '<' and '>' for patterns too.
    return !name.empty() && name != L"." && name != L".." && name.find_first_of(LR"(\/:*?"<>|)") == name.npos;
}

}  // namespace dataservices
