#include "tests/support/CTempFile.h"

#include "diagnostics/CAutoDestructor.h"

#include <gtest/gtest.h>

CTempFile::CTempFile(std::string_view contents) {
    wchar_t folder[MAX_PATH]{};
    wchar_t name[MAX_PATH]{};
    EXPECT_NE(0u, ::GetTempPathW(MAX_PATH, folder));
    EXPECT_NE(0u, ::GetTempFileNameW(folder, L"tvt", 0, name));
    m_path = name;
    const CAutoHandle file(
        ::CreateFileW(name, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    EXPECT_TRUE(::WriteFile(file.Get(), contents.data(), static_cast<DWORD>(contents.size()), &written, nullptr));
}

CTempFile::~CTempFile() {
    ::DeleteFileW(m_path.c_str());
}

std::string CTempFile::Contents() const {
    const CAutoHandle file(::CreateFileW(m_path.c_str(), GENERIC_READ,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    EXPECT_TRUE(::GetFileSizeEx(file.Get(), &size));
    std::string contents(static_cast<size_t>(size.QuadPart), '\0');
    DWORD got = 0;
    EXPECT_TRUE(::ReadFile(file.Get(), contents.data(), static_cast<DWORD>(contents.size()), &got, nullptr));
    EXPECT_EQ(contents.size(), got);
    return contents;
}
