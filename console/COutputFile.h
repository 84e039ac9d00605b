// Files that a command writes, or standard output.
//
// Threads: one.  Errors: CCommandError, with the file's name; COutputError where standard output can't be written.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

#include <span>
#include <string>
#include <string_view>

namespace console {

// Whether a file goes, or stays, when its handle is closed, which needs the right to DELETE. A file that goes does so
// with a process that is ended, too.  False, with the last error set: it is as it was. Not all file systems know of it.
bool GoWhenClosed(HANDLE file, bool goes) noexcept;

class COutputFile final {
public:
    // `path`: a file that is made anew, or empty for standard output.
    explicit COutputFile(const std::wstring& path);

    void Write(std::span<const BYTE> bytes);
    void Write(std::string_view text);

private:
    const std::wstring m_path;
    base::CAutoHandle m_file;
};

// A file that takes the place of an older one of its name only when it is finished. Until then it stands beside it
// under a name of its own, and goes with this object or, where the file system lets it, however the process ends.
class CReplacingFile final {
public:
    // Fails also where the older file can't be replaced. What is no file on a disk is written to at once.
    explicit CReplacingFile(const std::wstring& path);
    CReplacingFile(const CReplacingFile&) = delete;
    CReplacingFile& operator=(const CReplacingFile&) = delete;
    ~CReplacingFile();

    void Write(std::string_view text);

    // Once, behind the last Write. Where the file can't get its name, it stays under the one that it has, which the
    // error tells.
    void Finish();

private:
    const std::wstring m_path, m_ownPath;
    bool m_isDevice = false;
    bool m_goes = false;  // with its handle
    base::CAutoHandle m_file;
};

}  // namespace console
