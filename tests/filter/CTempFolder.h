// A folder in the temporary folder that goes, with what was put into it, when this object does.
//
// Threads: as for a plain value.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

class CTempFolder final {
public:
    // `inner`: folders one in the other, as "one\\two", made inside a folder of its own name.
    explicit CTempFolder(std::wstring_view inner = {});
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;
    ~CTempFolder();

    // The innermost folder, without a backslash at its end. Full, and written so that it may be of any length.
    [[nodiscard]] const std::wstring& Path() const noexcept { return m_path; }

    // Both give the new file's path.
    std::wstring Copy(const std::wstring& file, const wchar_t* name);
    std::wstring Write(std::string_view contents, const wchar_t* name);

private:
    void MakeFolder();

    std::wstring m_path;
    std::vector<std::wstring> m_folders;
    std::vector<std::wstring> m_files;
};
