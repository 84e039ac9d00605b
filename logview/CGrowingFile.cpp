#include "logview/CGrowingFile.h"

#include "base/LongPath.h"

#include <algorithm>

namespace logview {

DWORD CGrowingFile::Create(const std::wstring& path) {
    Close();
    m_path = base::OpenablePath(base::FullPathOf(path));
    m_file = base::CAutoHandle(::CreateFileW(m_path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                                             FILE_ATTRIBUTE_NORMAL, nullptr));
    const DWORD error = ::GetLastError();
    return m_file ? ERROR_SUCCESS : error;
}

bool CGrowingFile::IsThere() const noexcept {
    return ::GetFileAttributesW(m_path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

DWORD CGrowingFile::Append(std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const auto most = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1 << 20));
        DWORD written = 0;
        if (!::WriteFile(m_file.Get(), bytes.data(), most, &written, nullptr))
            return ::GetLastError();
        if (written == 0)
            return ERROR_DISK_FULL;
        m_size += written;
        bytes.remove_prefix(written);
    }
    return ERROR_SUCCESS;
}

void CGrowingFile::TakeBack() noexcept {
    LARGE_INTEGER end{};
    end.QuadPart = static_cast<LONGLONG>(m_kept);
    if (m_file && ::SetFilePointerEx(m_file.Get(), end, nullptr, FILE_BEGIN))
        ::SetEndOfFile(m_file.Get());
    m_size = m_kept;
}

void CGrowingFile::Close() noexcept {
    if (!m_file)
        return;
    m_file.Reset();
    if (m_kept == 0)
        ::DeleteFileW(m_path.c_str());
    m_size = m_kept = 0;
}

}  // namespace logview
