#include "tests/filter/CTempFolder.h"

#include "diagnostics/CAutoDestructor.h"

#include <gtest/gtest.h>

#include <atomic>

CTempFolder::CTempFolder(std::wstring_view inner) {
    static std::atomic<int> made{0};
    wchar_t temporary[MAX_PATH]{};
    wchar_t full[MAX_PATH]{};
    EXPECT_NE(0u, ::GetTempPathW(MAX_PATH, temporary));
    EXPECT_NE(0u, ::GetFullPathNameW(temporary, MAX_PATH, full, nullptr));
    m_path = full + (L"tvf" + std::to_wstring(::GetCurrentProcessId())) + L"_" + std::to_wstring(made++);
    if (inner.size() > 100)
        m_path.insert(0, L"\\\\?\\");
    MakeFolder();
    while (!inner.empty()) {
        const size_t end = std::min(inner.find(L'\\'), inner.size());
        m_path.append(L"\\").append(inner.substr(0, end));
        MakeFolder();
        inner.remove_prefix(std::min(end + 1, inner.size()));
    }
}

CTempFolder::~CTempFolder() {
    for (const std::wstring& file : m_files)
        EXPECT_TRUE(::DeleteFileW(file.c_str())) << "still in use: error " << ::GetLastError();
    for (auto folder = m_folders.rbegin(); folder != m_folders.rend(); ++folder)
        ::RemoveDirectoryW(folder->c_str());
}

std::wstring CTempFolder::Copy(const std::wstring& file, const wchar_t* name) {
    m_files.push_back(m_path + L"\\" + name);
    EXPECT_TRUE(::CopyFileW(file.c_str(), m_files.back().c_str(), FALSE)) << ::GetLastError();
    return m_files.back();
}

std::wstring CTempFolder::Write(std::string_view contents, const wchar_t* name) {
    m_files.push_back(m_path + L"\\" + name);
    const CAutoHandle file(::CreateFileW(m_files.back().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    EXPECT_TRUE(::WriteFile(file.Get(), contents.data(), static_cast<DWORD>(contents.size()), &written, nullptr));
    return m_files.back();
}

void CTempFolder::MakeFolder() {
    m_folders.push_back(m_path);
    EXPECT_TRUE(::CreateDirectoryW(m_path.c_str(), nullptr)) << ::GetLastError();
}
