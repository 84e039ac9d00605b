#include "tvsource/source/SourceName.h"

#include "TKDataServices.h"
#include "base/AsciiText.h"
#include "base/CAutoDestructor.h"
#include "base/FormatText.h"
#include "base/LongPath.h"
#include "console/CCommandError.h"
#include "console/Text.h"
#include "framework/uri/NameForLog.h"
#include "tvsource/source/Registration.h"

#include <winhttp.h>

#include <algorithm>

namespace tvsource {

namespace {

// What the file system says when the file is opened; empty if the name is no local file's, or the file can be opened
// now.
std::optional<console::CCommandError> WhyNoFile(const std::wstring& words, const CTKFUri* uri, DWORD share) {
    if (!uri || !uri->IsLocalFile())
        return {};
    const std::wstring path = base::OpenablePath(base::FullPathOf(uri->GetLocalPath()));
    const base::CAutoHandle file(::CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr));
    if (file)
        return {};
    const HRESULT result = HRESULT_FROM_WIN32(::GetLastError());
    return result == E_ACCESSDENIED && IsFolder(path) ? console::CCommandError(words + L": a folder, not a file")
                                                      : console::CCommandError(words, result);
}

}  // namespace

std::wstring TypedName(const std::wstring& typed) {
    constexpr auto kBlanks = L" \t\r\n\u00A0";
    std::wstring name = typed;
    const auto trim = [&] {
        name.erase(0, name.find_first_not_of(kBlanks));
        name.erase(name.find_last_not_of(kBlanks) + 1);
    };
    trim();
    if (!name.empty() && std::wstring_view(L"\"'\u201C\u2018").find(name.front()) != std::wstring_view::npos) {
        const wchar_t closing = name.front() > 0x7F ? static_cast<wchar_t>(name.front() + 1) : name.front();
        name.erase(0, 1);
        if (name.ends_with(closing))
            name.pop_back();
        trim();
    }
    return IsUri(name) ? name : typed;
}

bool IsUri(const std::wstring& name) {
    const size_t colon = name.find(L':');
    if (colon == name.npos || colon < 2 || !base::IsAsciiLetter(name.front()))
        return false;
    return std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(colon), [](wchar_t c) {
        return base::IsAsciiLetter(c) || (c >= L'0' && c <= L'9') || c == L'+' || c == L'-' || c == L'.';
    });
}

bool IsThere(const std::wstring& path) {
    return ::GetFileAttributesW(base::OpenablePath(base::FullPathOf(path)).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(base::OpenablePath(base::FullPathOf(path)).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::wstring SourceName(const std::wstring& typed) {
    if (IsUri(typed))
        return typed;
    std::wstring path = base::FullPathOf(typed);
    const DWORD attributes = ::GetFileAttributesW(base::OpenablePath(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        throw console::CCommandError(L"Cannot find " + ShownName(path), HRESULT_FROM_WIN32(::GetLastError()));
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        throw console::CCommandError(ShownName(path) + L" is a folder, not a file");
    return path;
}

framework::CParsedName SourceName(const framework::CParsedName& typed) {
    const std::wstring name = SourceName(typed.Text());
    return name == typed.Text() ? typed : framework::CParsedName(name.c_str());
}

std::wstring ShownName(const std::wstring& name) {
    return ShownName(framework::CParsedName(name.c_str()));
}

std::wstring ShownName(const framework::CParsedName& name) {
    return console::Printable(framework::NameForLog(name));
}

console::CCommandError WhyNotOpened(std::wstring words, const framework::CParsedName& name, DWORD share,
                                    HRESULT result) {
    constexpr auto kDenied = static_cast<HRESULT>(TKDS_HTTP_STATUS_BASE | HTTP_STATUS_DENIED);
    const bool hasCredentials = framework::NameForLog(name) != name.Text();
    if (result == kDenied && hasCredentials)
        return {std::move(words), result, L"the server refused the credentials, HTTP status 401"};
    if (result == REGDB_E_CLASSNOTREG)
        return console::CCommandError(std::move(words), result)
            .Advise(L"only local files open without a data-service layer; " + DataServicesAdvice());
    if (result == HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED))
        return console::CCommandError(std::move(words), result).Advise(L"the data-service layer knows no such scheme");
    if (std::optional<console::CCommandError> fault = WhyNoFile(words, name.Uri(), share))
        return *fault;
    // For files on shares, the data-service layer gives one code for both reasons.
    if (result == E_ACCESSDENIED)
        return {std::move(words), result, L"access denied, or in use by another program"};
    return {std::move(words), result};
}

}  // namespace tvsource
