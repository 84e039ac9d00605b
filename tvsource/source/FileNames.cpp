#include "tvsource/source/FileNames.h"

#include "base/CAutoDestructor.h"
#include "base/LongPath.h"
#include "base/Utf8Text.h"
#include "tvsource/report/CActivity.h"
#include "tvsource/source/SourceName.h"

#include <windows.h>

#include <algorithm>
#include <array>

namespace tvsource {

namespace {

constexpr DWORD kLinkedFolder = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;

// The names in the folder that match, sorted.
std::vector<std::wstring> EntriesOf(const std::wstring& folder, const std::wstring& pattern) {
    std::vector<std::wstring> entries;
    WIN32_FIND_DATAW data{};
    const std::wstring full = base::FullPathOf(folder);
    const base::CAutoFind find(
        ::FindFirstFileW(base::OpenablePath(full + (full.ends_with(L'\\') ? L"" : L"\\") + pattern).c_str(), &data));
    if (!find && ::GetLastError() == ERROR_FILE_NOT_FOUND)
        return entries;
    if (!find)
        throw console::CCommandError(L"Cannot list it", HRESULT_FROM_WIN32(::GetLastError()));
    do {
        const std::wstring name = data.cFileName;
        if (name != L"." && name != L".." && (data.dwFileAttributes & kLinkedFolder) != kLinkedFolder)
            entries.push_back(name);
    } while (::FindNextFileW(find.Get(), &data));
    if (::GetLastError() != ERROR_NO_MORE_FILES)
        throw console::CCommandError(L"Cannot list it to its end", HRESULT_FROM_WIN32(::GetLastError()));
    std::sort(entries.begin(), entries.end());
    return entries;
}

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
        throw console::CCommandError(L"no file has such a name");
    for (std::wstring& name : names)
        name.insert(0, folder);
    return names;
}

// Puts what is in the folder onto `names`, last first.
void ReplaceFolder(const framework::CParsedName& parsed, std::vector<std::wstring>& names, bool verbose,
                   const FileNameSink& sink) {
    const std::wstring& folder = parsed.Text();
    try {
        const CActivity activity(L"Files", L"listing " + ShownName(parsed), verbose);
        const std::vector<std::wstring> entries = EntriesOf(folder, L"*");
        const bool isClosed = folder.ends_with(L'\\');
        for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
            names.push_back(folder + (isClosed ? L"" : L"\\") + *entry);
    } catch (const console::CCommandError& error) {
        sink.failed(parsed, error);
    }
}

// UTF-16 by its mark, or else UTF-8. Nothing: neither.
std::optional<std::wstring> TextOf(const std::string& bytes) {
    std::wstring text;
    const bool isSwapped = bytes.starts_with("\xFE\xFF");
    if (isSwapped || bytes.starts_with("\xFF\xFE")) {
        if (bytes.size() % 2 != 0)
            return std::nullopt;
        for (std::size_t at = 2; at < bytes.size(); at += 2) {
            const auto first = static_cast<unsigned char>(bytes[at + (isSwapped ? 1 : 0)]);
            const auto second = static_cast<unsigned char>(bytes[at + (isSwapped ? 0 : 1)]);
            text += static_cast<wchar_t>(first | second << 8);
        }
    } else {
        constexpr std::string_view kMark = "\xEF\xBB\xBF";
        text = base::WideOfUtf8(bytes.substr(bytes.starts_with(kMark) ? kMark.size() : 0));
        if (!bytes.empty() && ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(),
                                                    static_cast<int>(bytes.size()), nullptr, 0) == 0)
            return std::nullopt;
    }
    return text.find(L'\0') == text.npos ? std::optional(text) : std::nullopt;
}

}  // namespace

void FindFiles(const std::vector<std::wstring>& typed, bool verbose, const FileNameSink& sink) {
    for (const std::wstring& path : typed) {
        // What is still to be looked at, last first. A folder is replaced by what is in it, at any depth.
        std::vector<std::wstring> names;
        try {
            names = NamesOf(path);
        } catch (const console::CCommandError& error) {
            sink.failed(framework::CParsedName(path.c_str()), error);
        }
        std::reverse(names.begin(), names.end());
        while (!names.empty()) {
            const framework::CParsedName parsed(names.back().c_str());
            names.pop_back();
            if (IsUri(parsed.Text()) || !IsFolder(parsed.Text()))
                sink.found(parsed);
            else
                ReplaceFolder(parsed, names, verbose, sink);
        }
    }
}

std::vector<FoundFile> FilesOf(const std::vector<std::wstring>& typed, bool verbose) {
    std::vector<FoundFile> files;
    FindFiles(typed, verbose,
              {[&](const framework::CParsedName& name) {
                   files.push_back({name, {}});
               },
               [&](const framework::CParsedName& name, const console::CCommandError& error) {
                   files.push_back({name, error});
               }});
    return files;
}

console::CCommandError NoFile() {
    return console::CCommandError(L"There is no file to look at");
}

std::vector<std::wstring> NamesInList(const std::wstring& path) {
    constexpr std::size_t kBlock = 65'536, kMost = 64u << 20;  // more is no list that a person made
    const base::CAutoHandle file(::CreateFileW(base::OpenablePath(base::FullPathOf(path)).c_str(), GENERIC_READ,
                                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        throw console::CCommandError(L"Cannot open the list " + ShownName(path), HRESULT_FROM_WIN32(::GetLastError()));
    std::string bytes;
    for (DWORD got = 1; got > 0 && bytes.size() <= kMost;) {
        std::array<char, kBlock> block;
        if (!::ReadFile(file.Get(), block.data(), kBlock, &got, nullptr))
            throw console::CCommandError(L"Cannot read the list " + ShownName(path),
                                         HRESULT_FROM_WIN32(::GetLastError()));
        bytes.append(block.data(), got);
    }
    const std::optional<std::wstring> text = bytes.size() > kMost ? std::nullopt : TextOf(bytes);
    if (!text)
        throw console::CCommandError(L"The list " + ShownName(path) + L" is no text in UTF-8 or UTF-16");

    std::vector<std::wstring> names;
    for (std::size_t at = 0, end = 0; at < text->size(); at = end + 1) {
        end = std::min(text->find(L'\n', at), text->size());
        std::wstring line = text->substr(at, end - at);
        if (line.ends_with(L'\r'))
            line.pop_back();
        if (line.find_first_not_of(L" \t\u00A0") != line.npos)
            names.push_back(TypedName(line));
    }
    return names;
}

CFileIdentity::CFileIdentity(const std::wstring& path) : m_path(base::FullPathOf(path)) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const base::CAutoHandle file(::CreateFileW(base::OpenablePath(m_path).c_str(), 0, kShareAll, nullptr, OPEN_EXISTING,
                                               FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION info{};
    if (file && ::GetFileInformationByHandle(file.Get(), &info))
        m_index = {info.dwVolumeSerialNumber, ULONGLONG{info.nFileIndexHigh} << 32 | info.nFileIndexLow};
}

CFileIdentity::CFileIdentity(const framework::CParsedName& name) {
    if (!IsUri(name.Text()))
        *this = CFileIdentity(name.Text());
    else if (name.Uri() && name.Uri()->IsLocalFile())
        *this = CFileIdentity(std::wstring(name.Uri()->GetLocalPath()));
}

bool CFileIdentity::IsSameAs(const CFileIdentity& other) const {
    const bool isPath = ::CompareStringOrdinal(m_path.c_str(), -1, other.m_path.c_str(), -1, TRUE) == CSTR_EQUAL;
    return !m_path.empty() && (isPath || (m_index && m_index == other.m_index));
}

}  // namespace tvsource
