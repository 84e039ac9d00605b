// A folder in the temporary folder that goes, with what was put into it, when this object does.
//
// Threads: as for a plain value.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

class CTempFolder final {
public:
    // `inner`: nested folders, made inside a folder of its own name. When they are long, all paths are given
    // with the prefix \\?\.
    explicit CTempFolder(const std::vector<std::wstring>& inner = {}) {
        const std::wstring stem = (inner.empty() || inner[0].size() < 100 ? L"" : LR"(\\?\)") +
                                  std::filesystem::temp_directory_path().wstring() + L"tvt" +
                                  std::to_wstring(::GetCurrentProcessId()) + L"_";
        // Process identifiers are used again, and a test that broke off may have left its folder.
        for (int number = 0; m_made.empty() && number < 1000; ++number)
            MakeFolder(m_path = stem + std::to_wstring(number));
        EXPECT_FALSE(m_made.empty()) << stem;
        for (const std::wstring& name : inner)
            MakeFolder(m_path += L"\\" + name);
    }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;
    ~CTempFolder() {
        for (auto path = m_made.rbegin(); path != m_made.rend(); ++path)
            EXPECT_TRUE(::DeleteFileW(path->c_str()) || ::RemoveDirectoryW(path->c_str())) << *path << " is in use";
    }

    // The innermost folder, in full and without a backslash at its end.
    [[nodiscard]] const std::wstring& Path() const noexcept { return m_path; }
    [[nodiscard]] std::wstring PathOf(const std::wstring& name) const { return m_path + L"\\" + name; }

    // Both make the folders that stand in `name` and give the new file's path. It must not be in use when the folder
    // goes.
    std::wstring Copy(const std::wstring& file, const std::wstring& name) {
        MakeFoldersOf(name);
        EXPECT_TRUE(::CopyFileW(file.c_str(), m_made.emplace_back(Openable(PathOf(name))).c_str(), FALSE)) << name;
        return PathOf(name);
    }
    std::wstring Write(std::string_view contents, const std::wstring& name) {
        MakeFoldersOf(name);
        const std::filesystem::path path = m_made.emplace_back(Openable(PathOf(name)));
        EXPECT_TRUE(std::ofstream(path, std::ios::binary) << contents) << name;
        return PathOf(name);
    }

private:
    static std::wstring Openable(const std::wstring& path) {
        return path.starts_with(LR"(\\?\)") ? path : LR"(\\?\)" + path;
    }
    void MakeFoldersOf(const std::wstring& name) {
        for (auto end = name.find(L'\\'); end != name.npos; end = name.find(L'\\', end + 1))
            MakeFolder(PathOf(name.substr(0, end)));
    }
    void MakeFolder(const std::wstring& path) {
        if (::CreateDirectoryW(Openable(path).c_str(), nullptr))
            m_made.push_back(Openable(path));
    }

    std::wstring m_path;
    std::vector<std::wstring> m_made;  // files and folders in the order of their making
};

// The process's current folder, while the object lives.
class CCurrentFolder final {
public:
    explicit CCurrentFolder(const std::wstring& folder) : m_before(std::filesystem::current_path()) {
        std::filesystem::current_path(folder);
    }
    CCurrentFolder(const CCurrentFolder&) = delete;
    CCurrentFolder& operator=(const CCurrentFolder&) = delete;
    ~CCurrentFolder() { std::filesystem::current_path(m_before); }

private:
    const std::filesystem::path m_before;
};
