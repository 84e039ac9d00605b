// A file in the temporary folder that goes when this object does.
//
// Threads: as for a plain value.
#pragma once

#include "diagnostics/CAutoDestructor.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

class CTempFile final {
public:
    // Makes the file with a name of its own.
    explicit CTempFile(std::string_view contents = {}) {
        wchar_t folder[MAX_PATH]{}, name[MAX_PATH]{};
        EXPECT_NE(0u, ::GetTempPathW(MAX_PATH, folder));
        EXPECT_NE(0u, ::GetTempFileNameW(folder, L"tvt", 0, name));
        m_path = name;
        const CAutoHandle file(::CreateFileW(name, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        DWORD written = 0;
        EXPECT_TRUE(::WriteFile(file.Get(), contents.data(), static_cast<DWORD>(contents.size()), &written, nullptr));
    }
    CTempFile(const CTempFile&) = delete;
    CTempFile& operator=(const CTempFile&) = delete;
    ~CTempFile() { ::DeleteFileW(m_path.c_str()); }

    [[nodiscard]] const std::wstring& Path() const noexcept { return m_path; }  // full
    [[nodiscard]] std::string Contents() const {
        constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
        const CAutoHandle file(
            ::CreateFileW(m_path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
        std::string contents(::GetFileSize(file.Get(), nullptr), '\0');
        DWORD got = 0;
        EXPECT_TRUE(::ReadFile(file.Get(), contents.data(), static_cast<DWORD>(contents.size()), &got, nullptr));
        EXPECT_EQ(contents.size(), got);
        return contents;
    }

private:
    std::wstring m_path;
};
