// A file in the temporary folder that goes when this object does.
//
// Threads: as for a plain value.
#pragma once

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

class CTempFile final {
public:
    // Makes the file with a name of its own.
    explicit CTempFile(std::string_view contents = {}) {
        wchar_t name[MAX_PATH]{};
        ::GetTempFileNameW(std::filesystem::temp_directory_path().c_str(), L"tvt", 0, name);
        m_path = name;
        std::ofstream(m_path, std::ios::binary) << contents;
    }
    CTempFile(const CTempFile&) = delete;
    CTempFile& operator=(const CTempFile&) = delete;
    ~CTempFile() { ::DeleteFileW(m_path.c_str()); }

    [[nodiscard]] const std::wstring& Path() const noexcept { return m_path.native(); }  // full
    [[nodiscard]] std::string Contents() const {
        std::ifstream file(m_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    std::filesystem::path m_path;
};
