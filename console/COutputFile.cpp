#include "console/COutputFile.h"

#include "base/LongPath.h"
#include "console/CCommandError.h"
#include "console/CConsole.h"
#include "console/Text.h"

namespace console {

namespace {

CCommandError CannotWrite(const std::wstring& path, DWORD error) {
    return {L"Cannot write " + Printable(path), HRESULT_FROM_WIN32(error)};
}

base::CAutoHandle Open(const std::wstring& path, DWORD access, DWORD share, DWORD how) {
    return base::CAutoHandle(::CreateFileW(base::OpenablePath(base::FullPathOf(path)).c_str(), access, share, nullptr,
                                           how, FILE_ATTRIBUTE_NORMAL, nullptr));
}

void WriteTo(HANDLE file, const std::wstring& path, std::span<const BYTE> bytes) {
    try {
        WriteAll(file, bytes);
    } catch (const COutputError& error) {
        throw CannotWrite(path, error.Error());
    }
}

std::span<const BYTE> BytesOf(std::string_view text) {
    return {reinterpret_cast<const BYTE*>(text.data()), text.size()};
}

}  // namespace

bool GoWhenClosed(HANDLE file, bool goes) noexcept {
    FILE_DISPOSITION_INFO info{};
    info.DeleteFile = goes;
    return ::SetFileInformationByHandle(file, FileDispositionInfo, &info, sizeof info) != FALSE;
}

COutputFile::COutputFile(const std::wstring& path) : m_path(path) {
    if (path.empty())
        return;
    m_file = Open(path, GENERIC_WRITE, 0, CREATE_ALWAYS);
    if (!m_file)
        throw CannotWrite(path, ::GetLastError());
}

void COutputFile::Write(std::span<const BYTE> bytes) {
    if (m_file)
        WriteTo(m_file.Get(), m_path, bytes);
    else
        WriteAll(::GetStdHandle(STD_OUTPUT_HANDLE), bytes);
}

void COutputFile::Write(std::string_view text) {
    Write(BytesOf(text));
}

CReplacingFile::CReplacingFile(const std::wstring& path)
    : m_path(path), m_ownPath(path + L"." + std::to_wstring(::GetCurrentProcessId()) + L".new") {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    m_file = Open(path, GENERIC_WRITE | DELETE, kShareAll, OPEN_EXISTING);
    const DWORD error = ::GetLastError();
    if (!m_file && error != ERROR_FILE_NOT_FOUND)
        throw CannotWrite(path, error);
    m_isDevice = m_file && ::GetFileType(m_file.Get()) != FILE_TYPE_DISK;
    if (m_isDevice)
        return;
    // Also in place of what an earlier try left behind, which couldn't get its name.
    m_file = Open(m_ownPath, GENERIC_WRITE | DELETE, 0, CREATE_ALWAYS);
    if (!m_file)
        throw CannotWrite(path, ::GetLastError());
    m_goes = GoWhenClosed(m_file.Get(), true);
}

CReplacingFile::~CReplacingFile() {
    if (!m_file || m_isDevice || m_goes)
        return;
    m_file.Reset();
    ::DeleteFileW(base::OpenablePath(base::FullPathOf(m_ownPath)).c_str());
}

void CReplacingFile::Write(std::string_view text) {
    WriteTo(m_file.Get(), m_path, BytesOf(text));
}

void CReplacingFile::Finish() {
    if (m_isDevice)
        return;
    if (m_goes && !GoWhenClosed(m_file.Get(), false))
        throw CannotWrite(m_path, ::GetLastError());
    m_goes = false;
    m_file.Reset();
    if (!::MoveFileExW(base::OpenablePath(base::FullPathOf(m_ownPath)).c_str(),
                       base::OpenablePath(base::FullPathOf(m_path)).c_str(), MOVEFILE_REPLACE_EXISTING))
        throw CannotWrite(m_path, ::GetLastError()).Advise(L"what it was to be is in " + Printable(m_ownPath));
}

}  // namespace console
