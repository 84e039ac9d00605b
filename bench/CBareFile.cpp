#include "bench/CBareFile.h"

#include "bench/BenchCheck.h"

namespace bench {

CBareFile::CBareFile(const wchar_t* path)
    : m_file(::CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr)) {
    CheckWin32(static_cast<bool>(m_file), "CreateFile");
}

void CBareFile::ReadAt(LONGLONG position, LONG bytes, BYTE* buffer) {
    if (position != m_position) {
        LARGE_INTEGER target;
        target.QuadPart = position;
        CheckWin32(::SetFilePointerEx(m_file.Get(), target, nullptr, FILE_BEGIN), "SetFilePointerEx");
    }
    DWORD count = 0;
    const bool read = ::ReadFile(m_file.Get(), buffer, static_cast<DWORD>(bytes), &count, nullptr);
    CheckWin32(read && count == static_cast<DWORD>(bytes), "ReadFile");
    m_position = position + bytes;
}

}  // namespace bench
