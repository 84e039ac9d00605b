// The registry value that names the log file; what is set goes with this object.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <string>

struct CLogFileSetting final {
    ~CLogFileSetting() { ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, kKey); }

    // The value has the text with the zero at its end, less `bytesLess`.
    void Set(const std::wstring& text, DWORD type = REG_SZ, std::size_t bytesLess = 0) const {
        const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t) - bytesLess);
        EXPECT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, L"LogFile", type, text.c_str(), bytes));
    }

    static constexpr wchar_t kKey[] = L"SOFTWARE\\Tavel\\TKRuntimeLogger";
};
