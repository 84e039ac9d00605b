// A folder for a test's own files, which goes with this object.
#pragma once

#include "tests/tvsource/CHost.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

class CScratchFolder final {
public:
    CScratchFolder() { MakeFolder(m_path); }
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;
    ~CScratchFolder() {
        // One by one: what walks through folders by itself does not take paths of any length.
        for (auto path = m_made.rbegin(); path != m_made.rend(); ++path)
            EXPECT_TRUE(::DeleteFileW(path->c_str()) || ::RemoveDirectoryW(path->c_str())) << *path;
    }

    [[nodiscard]] std::wstring Path() const { return m_path.wstring(); }
    [[nodiscard]] std::wstring PathOf(const std::wstring& name) const { return (m_path / name).wstring(); }

    // Both make the folders that `name` asks for and give the file's path.
    std::wstring Write(const std::filesystem::path& name, const std::string& contents) {
        std::filesystem::path path = m_path;
        for (const auto& part : name.parent_path())
            MakeFolder(path /= part);
        path /= name.filename();
        EXPECT_TRUE(std::ofstream(path, std::ios::binary) << contents) << path;
        m_made.push_back(path);
        return path.wstring();
    }
    std::wstring Copy(const std::wstring& file, const std::filesystem::path& name) {
        return Write(name, BytesOf(file));
    }

private:
    void MakeFolder(const std::filesystem::path& folder) {
        if (::CreateDirectoryW(folder.c_str(), nullptr))
            m_made.push_back(folder);
    }

    const std::filesystem::path m_path =
        std::filesystem::temp_directory_path() / (L"tvsource_" + std::to_wstring(::GetCurrentProcessId()));
    std::vector<std::filesystem::path> m_made;  // files and folders in the order of their making
};
