// From what was typed for many files to their names: patterns, folders at any depth, and lists.
//
// Threads: one.  Errors: CCommandError.
#pragma once

#include "console/CCommandError.h"
#include "framework/uri/CParsedName.h"

#include <windows.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tvsource {

// Who hears of the names, in their order.
struct FileNameSink {
    std::function<void(const framework::CParsedName& name)> found;
    // What can't be listed, and why; the others still are.
    std::function<void(const framework::CParsedName& name, const console::CCommandError& error)> failed;
};

// A path gets one kind of separator, a pattern becomes the names that it matches (the system's own shell hands them to
// console programs as they are), and a folder all files in it, sorted. Links to folders are left out: they may lead
// back to where they stand. A URI stays as it is. Whether a file is there isn't looked at.
// `verbose`: a folder that takes long is told of on standard error.
void FindFiles(const std::vector<std::wstring>& typed, bool verbose, const FileNameSink& sink);

// What FindFiles finds, in its order.
struct FoundFile {
    framework::CParsedName name;
    std::optional<console::CCommandError> fault;
};
[[nodiscard]] std::vector<FoundFile> FilesOf(const std::vector<std::wstring>& typed, bool verbose);

// Where nothing was found.
[[nodiscard]] console::CCommandError NoFile();

// The lines of a text file, in UTF-8 or in UTF-16 with its mark, as they were typed; those of blanks alone are left
// out. Throws where it can't be read, or is no such text.
[[nodiscard]] std::vector<std::wstring> NamesInList(const std::wstring& path);

// By what a file is known again under another name: a link, another drive letter.
class CFileIdentity final {
public:
    // `path`: of what need not be there.
    explicit CFileIdentity(const std::wstring& path);
    // Of a URI that names a local file, that file; of others nothing.
    explicit CFileIdentity(const framework::CParsedName& name);

    [[nodiscard]] bool IsSameAs(const CFileIdentity& other) const;

private:
    std::wstring m_path;                                 // in full
    std::optional<std::pair<DWORD, ULONGLONG>> m_index;  // volume and number; nothing: it isn't there
};

}  // namespace tvsource
