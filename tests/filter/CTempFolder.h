// A folder in the temporary folder that goes, with what was put into it, when this object does.
//
// Threads: as for a plain value.
#pragma once

#include "diagnostics/CAutoDestructor.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

class CTempFolder final {
public:
    // `inner`: folders one in the other, made inside a folder of its own name.
    explicit CTempFolder(const std::vector<std::wstring>& inner = {}) {
        static int made = 0;
        wchar_t temporary[MAX_PATH]{};
        EXPECT_NE(0u, ::GetTempPathW(MAX_PATH, temporary));
        std::wstring path = std::wstring(inner.empty() || inner[0].size() < 100 ? L"" : LR"(\\?\)") + temporary +
                            L"tvf" + std::to_wstring(::GetCurrentProcessId()) + L"_" + std::to_wstring(made++);
        m_folders.push_back(path);
        for (const std::wstring& name : inner)
            m_folders.push_back(path += L"\\" + name);
        for (const std::wstring& folder : m_folders)
            EXPECT_TRUE(::CreateDirectoryW(folder.c_str(), nullptr)) << ::GetLastError();
    }
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;
    ~CTempFolder() {
        for (const std::wstring& file : m_files)
            EXPECT_TRUE(::DeleteFileW(file.c_str())) << "still in use: error " << ::GetLastError();
        for (auto folder = m_folders.rbegin(); folder != m_folders.rend(); ++folder)
            ::RemoveDirectoryW(folder->c_str());
    }

    // The innermost folder, without a backslash at its end. Full, and written so that it may be of any length.
    [[nodiscard]] const std::wstring& Path() const noexcept { return m_folders.back(); }

    // Both give the new file's path. It must not be in use when the folder goes.
    std::wstring Copy(const std::wstring& file, const wchar_t* name) {
        m_files.push_back(Path() + L"\\" + name);
        EXPECT_TRUE(::CopyFileW(file.c_str(), m_files.back().c_str(), FALSE)) << ::GetLastError();
        return m_files.back();
    }
    std::wstring Write(std::string_view contents, const wchar_t* name) {
        m_files.push_back(Path() + L"\\" + name);
        const CAutoHandle file(
            ::CreateFileW(m_files.back().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        DWORD written = 0;
        EXPECT_TRUE(::WriteFile(file.Get(), contents.data(), static_cast<DWORD>(contents.size()), &written, nullptr));
        return m_files.back();
    }

private:
    std::vector<std::wstring> m_folders, m_files;
};
