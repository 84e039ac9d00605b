// The registry value that names the log file, for as long as the object lives.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <string>

class CLogFileSetting final {
public:
    explicit CLogFileSetting(const std::wstring& path)
        : CLogFileSetting(REG_SZ, path.c_str(), (path.size() + 1) * sizeof(wchar_t)) {}
    CLogFileSetting(DWORD type, const void* data, std::size_t bytes) {
        HKEY key = nullptr;
        EXPECT_EQ(ERROR_SUCCESS,
                  ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr));
        EXPECT_EQ(ERROR_SUCCESS, ::RegSetValueExW(key, L"LogFile", 0, type, static_cast<const BYTE*>(data),
                                                  static_cast<DWORD>(bytes)));
        ::RegCloseKey(key);
    }
    CLogFileSetting(const CLogFileSetting&) = delete;
    CLogFileSetting& operator=(const CLogFileSetting&) = delete;
    ~CLogFileSetting() { ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, kKey); }

private:
    static constexpr wchar_t kKey[] = L"SOFTWARE\\Tavel\\TKRuntimeLogger";
};
