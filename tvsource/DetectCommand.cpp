#include <wrl/client.h>

#include <algorithm>

#include "diagnostics/LongPath.h"
#include "framework/streams/TKFCreateStreamFromUri.h"
#include "framework/uri/NameForLog.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/CMimeDictionary.h"
#include "tvsource/Commands.h"
#include "tvsource/SourceName.h"

using Microsoft::WRL::ComPtr;

namespace {

// What is in the folder, by name. Links to folders are left out: they may lead back to where they stand.
std::vector<std::wstring> EntriesOf(const std::wstring& folder) {
    std::vector<std::wstring> entries;
    WIN32_FIND_DATAW data{};
    const CAutoFind find(::FindFirstFileW(OpenablePath(FullPathOf(folder) + L"\\*").c_str(), &data));
    if (!find)
        throw CHostError(L"Cannot list it", HRESULT_FROM_WIN32(::GetLastError()));
    do {
        constexpr DWORD kLinkedFolder = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
        const std::wstring name = data.cFileName;
        if (name != L"." && name != L".." && (data.dwFileAttributes & kLinkedFolder) != kLinkedFolder)
            entries.push_back(name);
    } while (::FindNextFileW(find.Get(), &data));
    if (::GetLastError() != ERROR_NO_MORE_FILES)
        throw CHostError(L"Cannot list it to its end", HRESULT_FROM_WIN32(::GetLastError()));
    std::sort(entries.begin(), entries.end());
    return entries;
}

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(OpenablePath(FullPathOf(path)).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

void DetectOne(const CMimeDictionary& dictionary, const std::wstring& name, bool explain) {
    ComPtr<IStream> content;
    constexpr DWORD kMode = kTKFStreamRead | kTKFStreamShareRead | kTKFStreamShareWrite | kTKFStreamShareDelete;
    const HRESULT hr = ::TKFCreateStreamFromUri(SourceName(name).c_str(), kMode, &content, nullptr, nullptr);
    if (FAILED(hr))
        throw CannotOpen(L"it", hr);
    const CMimeDictionary::Answer answer =
        explain ? dictionary.Explain(content.Get()) : dictionary.Detect(content.Get());
    std::wstring text = NameForLog(name.c_str()) + L"\t" + MimeTypesText(answer.types) + L"\n";
    for (const std::wstring& line : answer.explanation)
        text += L"  " + line + L"\n";
    Print(text);
}

}  // namespace

int Detect(const DetectOptions& options) {
    const CMimeDictionary dictionary;
    int code = 0;
    // What is still to be looked at, last first. A folder makes place for what is in it, however deep that goes.
    std::vector<std::wstring> names(options.names.rbegin(), options.names.rend());
    while (!names.empty()) {
        const std::wstring name = std::move(names.back());
        names.pop_back();
        try {
            if (IsUri(name) || !IsFolder(name)) {
                DetectOne(dictionary, name, options.explain);
                continue;
            }
            const std::vector<std::wstring> entries = EntriesOf(name);
            const bool isClosed = name.ends_with(L'\\') || name.ends_with(L'/');
            for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
                names.push_back(name + (isClosed ? L"" : L"\\") + *entry);
        } catch (const CHostError& error) {
            Complain(L"tvsource: " + NameForLog(name.c_str()) + L": " + error.Text() + L"\n");
            code = 1;
        }
    }
    return code;
}
