#include "base/FormatText.h"
#include "base/LongPath.h"
#include "framework/streams/TKFCreateStreamFromUri.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/CMimeDictionary.h"
#include "tvsource/CProgressLine.h"
#include "tvsource/Commands.h"
#include "tvsource/SourceName.h"

#include <wrl/client.h>

#include <algorithm>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

constexpr DWORD kLinkedFolder = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;

// The names in the folder that match, sorted. Links to folders are left out: they may lead back to where they stand.
std::vector<std::wstring> EntriesOf(const std::wstring& folder, const std::wstring& pattern) {
    std::vector<std::wstring> entries;
    WIN32_FIND_DATAW data{};
    const std::wstring full = base::FullPathOf(folder);
    const base::CAutoFind find(
        ::FindFirstFileW(base::OpenablePath(full + (full.ends_with(L'\\') ? L"" : L"\\") + pattern).c_str(), &data));
    if (!find && ::GetLastError() == ERROR_FILE_NOT_FOUND)
        return entries;
    if (!find)
        throw CHostError(L"Cannot list it", HRESULT_FROM_WIN32(::GetLastError()));
    do {
        const std::wstring name = data.cFileName;
        if (name != L"." && name != L".." && (data.dwFileAttributes & kLinkedFolder) != kLinkedFolder)
            entries.push_back(name);
    } while (::FindNextFileW(find.Get(), &data));
    if (::GetLastError() != ERROR_NO_MORE_FILES)
        throw CHostError(L"Cannot list it to its end", HRESULT_FROM_WIN32(::GetLastError()));
    std::sort(entries.begin(), entries.end());
    return entries;
}

// Turns what was typed into the names to be looked at: a path gets one kind of separator, a pattern becomes the names
// that it matches. The system's own shell hands patterns to console programs as they are.
std::vector<std::wstring> NamesOf(std::wstring typed) {
    if (IsUri(typed))
        return {typed};
    std::replace(typed.begin(), typed.end(), L'/', L'\\');
    const size_t last = typed.find_last_of(L"\\:") + 1;  // 0 where there is none
    const std::wstring folder = typed.substr(0, last), pattern = typed.substr(last);
    if (pattern.find_first_of(L"*?") == pattern.npos)
        return {typed};
    std::vector<std::wstring> names = EntriesOf(folder.empty() ? L"." : folder, pattern);
    if (names.empty())
        throw CHostError(L"no file has such a name");
    for (std::wstring& name : names)
        name.insert(0, folder);
    return names;
}

void DetectOne(const CMimeDictionary& dictionary, const framework::CParsedName& name, bool explain) {
    ComPtr<IStream> content;
    constexpr DWORD kMode = kTKFStreamRead | kTKFStreamShareRead | kTKFStreamShareWrite | kTKFStreamShareDelete;
    constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HRESULT hr = ::TKFCreateStreamFromUri(SourceName(name), kMode, &content, nullptr, nullptr);
    if (FAILED(hr))
        throw CHostError(L"Cannot open it: " + WhyNotOpened(name, kShare, hr));
    const CMimeDictionary::Answer answer =
        explain ? dictionary.Explain(content.Get()) : dictionary.Detect(content.Get());
    std::wstring text = ShownName(name) + L"\t" + MimeTypesText(answer.types) + L"\n";
    for (const std::wstring& line : answer.explanation)
        text += L"  " + line + L"\n";
    if (IsTerminal(STD_OUTPUT_HANDLE))
        CProgressLine::Wipe();
    Print(text);
    if (const std::wstring fault = DetectionFault(answer.result); !fault.empty())
        throw CHostError(fault);
}

}  // namespace

int Detect(const DetectOptions& options) {
    const CMimeDictionary dictionary;
    int code = 0;
    const auto report = [&](const framework::CParsedName& name, const CHostError& error) {
        CProgressLine::Wipe();
        Complain(L"tvsource: " + ShownName(name) + L": " + error.Text() + L"\n");
        code = 1;
    };
    // What is still to be looked at, last first. A folder is replaced by what is in it, at any depth.
    std::vector<std::wstring> names;
    for (const std::wstring& typed : options.names) {
        try {
            for (const std::wstring& name : NamesOf(typed))
                names.push_back(name);
        } catch (const CHostError& error) {
            report(framework::CParsedName(typed.c_str()), error);
        }
    }
    std::reverse(names.begin(), names.end());

    CProgressLine line(options.progress || IsTerminal(STD_ERROR_HANDLE));
    for (int files = 0; !names.empty();) {
        const framework::CParsedName parsed(names.back().c_str());
        const std::wstring& name = parsed.Text();
        names.pop_back();
        try {
            if (IsUri(name) || !IsFolder(name)) {
                line.ShowText(base::FormatText(L"file %d", ++files));
                DetectOne(dictionary, parsed, options.explain);
                continue;
            }
            const std::vector<std::wstring> entries = EntriesOf(name, L"*");
            const bool isClosed = name.ends_with(L'\\');
            for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
                names.push_back(name + (isClosed ? L"" : L"\\") + *entry);
        } catch (const CHostError& error) {
            report(parsed, error);
        }
    }
    return code;
}

}  // namespace tvsource
