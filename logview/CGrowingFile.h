// A new file that grows by whole pieces: what could be written of a piece only in part can be taken back.
//
// Threads: one.  Errors: the system's error code, ERROR_SUCCESS: none.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

#include <string>
#include <string_view>

namespace logview {

class CGrowingFile final {
public:
    // ERROR_FILE_EXISTS: there is one of that name. Others may read it, but neither write nor delete it.
    [[nodiscard]] DWORD Create(const std::wstring& path);

    [[nodiscard]] bool IsOpen() const noexcept { return static_cast<bool>(m_file); }
    // Whether it still stands where it was made: a stick may have been pulled out, a folder been removed.
    [[nodiscard]] bool IsThere() const noexcept;
    // What has been kept.
    [[nodiscard]] ULONGLONG Size() const noexcept { return m_kept; }

    // Appends; what was appended since the last Keep goes again with TakeBack.
    [[nodiscard]] DWORD Append(std::string_view bytes) noexcept;
    void Keep() noexcept { m_kept = m_size; }
    void TakeBack() noexcept;

    // A file that has nothing is deleted.
    void Close() noexcept;

private:
    std::wstring m_path;
    base::CAutoHandle m_file;
    ULONGLONG m_size = 0, m_kept = 0;
};

}  // namespace logview
