// A file in the temporary folder that goes when this object does.
//
// Threads: as for a plain value.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

class CTempFile final {
public:
    // Makes the file with a name of its own.
    explicit CTempFile(std::string_view contents = {});
    CTempFile(const CTempFile&) = delete;
    CTempFile& operator=(const CTempFile&) = delete;
    ~CTempFile();

    [[nodiscard]] const std::wstring& Path() const noexcept { return m_path; }  // full
    [[nodiscard]] std::string Contents() const;

private:
    std::wstring m_path;
};
