#include "framework/streams/CLocalFileSystemStream.h"

#include "base/CTaskMem.h"
#include "base/LongPath.h"

#include <span>
#include <utility>

using framework::BitsIf;
using Microsoft::WRL::ComPtr;

namespace {

struct ErrorResult {
    DWORD error;
    HRESULT result;
};

constexpr ErrorResult kOpenErrors[] = {
    {ERROR_INVALID_FUNCTION, STG_E_INVALIDFUNCTION},
    {ERROR_ACCESS_DENIED, STG_E_ACCESSDENIED},
    {ERROR_NOT_ENOUGH_MEMORY, STG_E_INSUFFICIENTMEMORY},
    {ERROR_INVALID_ACCESS, STG_E_ACCESSDENIED},
    {ERROR_OUTOFMEMORY, STG_E_INSUFFICIENTMEMORY},
    {ERROR_WRITE_FAULT, STG_E_WRITEFAULT},
    {ERROR_READ_FAULT, STG_E_READFAULT},
    {ERROR_HANDLE_DISK_FULL, STG_E_MEDIUMFULL},
    {ERROR_NET_WRITE_FAULT, STG_E_WRITEFAULT},
};
constexpr ErrorResult kReadErrors[] = {
    {ERROR_INVALID_FUNCTION, STG_E_INVALIDFUNCTION}, {ERROR_NOT_ENOUGH_MEMORY, STG_E_INSUFFICIENTMEMORY},
    {ERROR_OUTOFMEMORY, STG_E_INSUFFICIENTMEMORY},   {ERROR_READ_FAULT, STG_E_READFAULT},
    {ERROR_HANDLE_DISK_FULL, STG_E_MEDIUMFULL},
};
constexpr ErrorResult kWriteErrors[] = {
    {ERROR_INVALID_FUNCTION, STG_E_INVALIDFUNCTION},     {ERROR_ACCESS_DENIED, STG_E_ACCESSDENIED},
    {ERROR_NOT_ENOUGH_MEMORY, STG_E_INSUFFICIENTMEMORY}, {ERROR_INVALID_ACCESS, STG_E_ACCESSDENIED},
    {ERROR_OUTOFMEMORY, STG_E_INSUFFICIENTMEMORY},       {ERROR_WRITE_FAULT, STG_E_WRITEFAULT},
    {ERROR_HANDLE_DISK_FULL, STG_E_MEDIUMFULL},          {ERROR_NET_WRITE_FAULT, STG_E_WRITEFAULT},
};

HRESULT ResultOf(DWORD error, std::span<const ErrorResult> table, HRESULT otherwise) noexcept {
    for (const ErrorResult& row : table)
        if (row.error == error)
            return row.result;
    return otherwise;
}

HANDLE OpenFile(const std::wstring& path, DWORD mode) {
    const DWORD access = BitsIf(mode, kTKFStreamRead, GENERIC_READ) | BitsIf(mode, kTKFStreamWrite, GENERIC_WRITE);
    const DWORD share = BitsIf(mode, kTKFStreamShareRead, FILE_SHARE_READ) |
                        BitsIf(mode, kTKFStreamShareWrite, FILE_SHARE_WRITE) |
                        BitsIf(mode, kTKFStreamShareDelete, FILE_SHARE_DELETE);
    const DWORD disposition = BitsIf(mode, kTKFStreamCreate, CREATE_ALWAYS, OPEN_EXISTING);
    const DWORD flags = FILE_ATTRIBUTE_NORMAL | BitsIf(mode, kTKFStreamTemporary, FILE_ATTRIBUTE_TEMPORARY) |
                        BitsIf(mode, kTKFStreamDeleteOnClose, FILE_FLAG_DELETE_ON_CLOSE) |
                        BitsIf(mode, kTKFStreamSequential, FILE_FLAG_SEQUENTIAL_SCAN, FILE_FLAG_RANDOM_ACCESS) |
                        BitsIf(mode, kTKFStreamWriteThrough, FILE_FLAG_WRITE_THROUGH) |
                        BitsIf(mode, kTKFStreamOpenReparsePoint, FILE_FLAG_OPEN_REPARSE_POINT);
    return ::CreateFileW(path.c_str(), access, share, nullptr, disposition, flags, nullptr);
}

HRESULT ResultOfOpening(DWORD error) noexcept {
    return error == ERROR_SUCCESS ? S_OK : ResultOf(error, kOpenErrors, E_FAIL);
}

bool IsOpenable(const wchar_t* path, DWORD mode) noexcept {
    return path && *path && (mode & (kTKFStreamRead | kTKFStreamWrite)) != 0;
}

}  // namespace

HRESULT CLocalFileSystemStream::Open(const wchar_t* path, DWORD mode) noexcept {
    if (!IsOpenable(path, mode))
        return E_INVALIDARG;
    return base::ComBoundary([&] {
        std::wstring full = base::FullPathOf(path);
        std::wstring openable = base::OpenablePath(full);
        return ResultOfOpening(OpenFullPath(std::move(full), std::move(openable), mode));
    });
}

DWORD CLocalFileSystemStream::OpenFullPath(std::wstring path, std::wstring openable, DWORD mode) {
    m_path = std::move(path);
    m_openable = std::move(openable);
    m_mode = mode;
    m_file.Reset(OpenFile(m_openable, mode));
    if (m_file)
        return ERROR_SUCCESS;
    const DWORD error = ::GetLastError();
    return error == ERROR_SUCCESS ? ERROR_GEN_FAILURE : error;
}

// ISequentialStream

HRESULT CLocalFileSystemStream::Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept {
    DWORD count = 0;
    if (bytesRead)
        *bytesRead = 0;
    if (!buffer)
        return STG_E_INVALIDPOINTER;
    if (!::ReadFile(m_file.Get(), buffer, cb, &count, nullptr))
        return ResultOf(::GetLastError(), kReadErrors, STG_E_ACCESSDENIED);
    if (bytesRead)
        *bytesRead = count;
    return count < cb ? S_FALSE : S_OK;
}

HRESULT CLocalFileSystemStream::Write(const void* buffer, ULONG cb, ULONG* bytesWritten) noexcept {
    DWORD count = 0;
    if (bytesWritten)
        *bytesWritten = 0;
    if (!buffer)
        return STG_E_INVALIDPOINTER;
    if (!::WriteFile(m_file.Get(), buffer, cb, &count, nullptr))
        return ResultOf(::GetLastError(), kWriteErrors, STG_E_CANTSAVE);
    if (bytesWritten)
        *bytesWritten = count;
    return count < cb ? S_FALSE : S_OK;
}

// IStream

HRESULT CLocalFileSystemStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept {
    static_assert(STREAM_SEEK_SET == FILE_BEGIN && STREAM_SEEK_CUR == FILE_CURRENT && STREAM_SEEK_END == FILE_END);
    LARGE_INTEGER reached{};
    HRESULT hr = S_OK;
    if (origin > STREAM_SEEK_END || !::SetFilePointerEx(m_file.Get(), move, &reached, origin)) {
        hr = STG_E_INVALIDFUNCTION;
        ::SetFilePointerEx(m_file.Get(), LARGE_INTEGER{}, &reached, FILE_CURRENT);
    }
    if (newPosition)
        newPosition->QuadPart = static_cast<ULONGLONG>(reached.QuadPart);
    return hr;
}

HRESULT CLocalFileSystemStream::SetSize(ULARGE_INTEGER newSize) noexcept {
    LARGE_INTEGER before{};
    if (!::SetFilePointerEx(m_file.Get(), LARGE_INTEGER{}, &before, FILE_CURRENT))
        return E_FAIL;

    HRESULT hr = S_OK;
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(newSize.QuadPart);
    LARGE_INTEGER reached{};
    if (!::SetFilePointerEx(m_file.Get(), end, &reached, FILE_BEGIN) || reached.QuadPart != end.QuadPart)
        hr = STG_E_MEDIUMFULL;
    else if (!::SetEndOfFile(m_file.Get()))
        hr = STG_E_INVALIDFUNCTION;

    if (!::SetFilePointerEx(m_file.Get(), before, nullptr, FILE_BEGIN) && SUCCEEDED(hr))
        hr = E_UNEXPECTED;
    return hr;
}

HRESULT CLocalFileSystemStream::Stat(STATSTG* stat, DWORD flag) noexcept {
    if (!stat)
        return STG_E_INVALIDPOINTER;
    *stat = {};
    stat->type = STGTY_STREAM;
    stat->grfMode = StgMode();

    base::CTaskMem<wchar_t> name;
    if (!(flag & STATFLAG_NONAME)) {
        name = base::TaskMemCopyOf(m_path);
        if (!name)
            return STG_E_INSUFFICIENTMEMORY;
    }
    if (!GetSizeAndTimes(*stat))
        return STG_E_ACCESSDENIED;
    stat->pwcsName = name.Detach();
    return S_OK;
}

bool CLocalFileSystemStream::GetSizeAndTimes(STATSTG& stat) const noexcept {
    LARGE_INTEGER size{};
    if (!::GetFileSizeEx(m_file.Get(), &size) || !::GetFileTime(m_file.Get(), &stat.ctime, &stat.atime, &stat.mtime))
        return false;
    stat.cbSize.QuadPart = static_cast<ULONGLONG>(size.QuadPart);
    return true;
}

DWORD CLocalFileSystemStream::StgMode() const noexcept {
    const DWORD writeAccess = BitsIf(m_mode, kTKFStreamRead, STGM_READWRITE, STGM_WRITE);
    const DWORD shareWithReaders = BitsIf(m_mode, kTKFStreamShareWrite, STGM_SHARE_DENY_NONE, STGM_SHARE_DENY_WRITE);
    const DWORD shareWithoutReaders = BitsIf(m_mode, kTKFStreamShareWrite, STGM_SHARE_DENY_READ, STGM_SHARE_EXCLUSIVE);
    return BitsIf(m_mode, kTKFStreamWrite, writeAccess, STGM_READ) |
           BitsIf(m_mode, kTKFStreamShareRead, shareWithReaders, shareWithoutReaders) |
           BitsIf(m_mode, kTKFStreamCreate, STGM_CREATE);
}

HRESULT CLocalFileSystemStream::Clone(IStream** clone) noexcept {
    if (!clone)
        return E_POINTER;
    *clone = nullptr;
    ComPtr<CLocalFileSystemStream> copy;
    if (const HRESULT hr = framework::MakeComObject<CLocalFileSystemStream>(&copy); FAILED(hr))
        return hr;
    const HRESULT opened =
        base::ComBoundary([&] { return ResultOfOpening(copy->OpenFullPath(m_path, m_openable, m_mode)); });
    if (FAILED(opened))
        return opened;
    ULARGE_INTEGER position{};
    if (const HRESULT hr = Seek({}, STREAM_SEEK_CUR, &position); FAILED(hr))
        return hr;
    const LARGE_INTEGER move{.QuadPart = static_cast<LONGLONG>(position.QuadPart)};
    const HRESULT hr = copy->Seek(move, STREAM_SEEK_SET, nullptr);
    if (SUCCEEDED(hr))
        *clone = copy.Detach();
    return hr;
}

HRESULT TKFCreateLocalFileSystemStream(const wchar_t* path, DWORD mode, IStream** stream) noexcept {
    if (stream)
        *stream = nullptr;
    if (!IsOpenable(path, mode))
        return E_INVALIDARG;
    ComPtr<CLocalFileSystemStream> made;
    if (const HRESULT hr = framework::MakeComObject<CLocalFileSystemStream>(&made); FAILED(hr))
        return hr;
    if (const HRESULT hr = made->Open(path, mode); FAILED(hr))
        return hr;
    return made.CopyTo(stream);
}
