#include "tvsource/source/CBareFile.h"

#include "base/LongPath.h"
#include "console/CCommandError.h"

namespace tvsource {

namespace {

[[noreturn]] void ThrowLastError(const wchar_t* words) {
    throw console::CCommandError(words, HRESULT_FROM_WIN32(::GetLastError()));
}

}  // namespace

CBareFile::CBareFile(const std::wstring& path)
    : m_file(::CreateFileW(base::OpenablePath(path).c_str(), GENERIC_READ,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0,
                           nullptr)) {
    if (!m_file)
        ThrowLastError(L"Cannot open the file without the filter");
    m_state = State();
}

size_t CBareFile::Read(LONGLONG position, std::span<BYTE> bytes) const {
    size_t done = 0;
    while (done < bytes.size()) {
        const auto at = static_cast<ULONGLONG>(position) + done;
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(at & 0xFFFFFFFF);
        place.OffsetHigh = static_cast<DWORD>(at >> 32);
        DWORD read = 0;
        const BOOL isRead =
            ::ReadFile(m_file.Get(), bytes.data() + done, static_cast<DWORD>(bytes.size() - done), &read, &place);
        if (!isRead && ::GetLastError() != ERROR_HANDLE_EOF)
            ThrowLastError(L"Cannot read the file without the filter");
        if (!isRead || read == 0)
            break;
        done += read;
    }
    return done;
}

CBareFile::SizeAndTime CBareFile::State() const {
    BY_HANDLE_FILE_INFORMATION info{};
    if (!::GetFileInformationByHandle(m_file.Get(), &info))
        ThrowLastError(L"Cannot ask for the file's size");
    const auto join = [](DWORD high, DWORD low) { return ULONGLONG{high} << 32 | low; };
    return {static_cast<LONGLONG>(join(info.nFileSizeHigh, info.nFileSizeLow)),
            join(info.ftLastWriteTime.dwHighDateTime, info.ftLastWriteTime.dwLowDateTime)};
}

}  // namespace tvsource
