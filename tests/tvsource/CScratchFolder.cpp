#include "tests/tvsource/CScratchFolder.h"

#include "tests/tvsource/CHost.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <fstream>

namespace fs = std::filesystem;

CScratchFolder::CScratchFolder()
    : m_path(fs::temp_directory_path() /
             (L"tvsource_" + std::to_wstring(::GetCurrentProcessId()) + L"_" + std::to_wstring(::GetTickCount64()))) {
    MakeFolder(m_path);
}

CScratchFolder::~CScratchFolder() {
    // One by one: what walks through folders by itself does not take paths of any length.
    for (auto path = m_made.rbegin(); path != m_made.rend(); ++path)
        EXPECT_TRUE(::DeleteFileW(path->c_str()) || ::RemoveDirectoryW(path->c_str())) << *path;
}

void CScratchFolder::MakeFolder(const fs::path& folder) {
    if (::CreateDirectoryW(folder.c_str(), nullptr))
        m_made.push_back(folder);
    else
        EXPECT_EQ(static_cast<DWORD>(ERROR_ALREADY_EXISTS), ::GetLastError()) << folder;
}

std::wstring CScratchFolder::Write(const std::wstring& name, std::string_view contents) {
    fs::path path = m_path;
    for (const fs::path& part : fs::path(name).parent_path()) {
        path /= part;
        MakeFolder(path);
    }
    path = m_path / name;
    std::ofstream file(path, std::ios::binary);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    EXPECT_TRUE(file.good()) << path;
    m_made.push_back(path);
    return path.wstring();
}

std::wstring CScratchFolder::Copy(const std::wstring& file, const std::wstring& name) {
    return Write(name, BytesOf(file));
}
