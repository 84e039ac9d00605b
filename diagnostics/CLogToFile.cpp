#include "diagnostics/CLogToFile.h"

#include "base/ComBoundary.h"
#include "base/LongPath.h"
#include "diagnostics/LogLine.h"

#include <atomic>
#include <limits>
#include <string>
#include <vector>

namespace TKRuntimeLogger {
namespace {

constexpr wchar_t kKeyPath[] = L"SOFTWARE\\Tavel\\TKRuntimeLogger";
constexpr wchar_t kValueName[] = L"LogFile";

// The path from the registry; empty if there is none.
std::wstring ReadLogFilePath() {
    base::CAutoRegistryKey key;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKeyPath, 0, KEY_QUERY_VALUE, key.Put()) != ERROR_SUCCESS)
        return {};
    DWORD type = REG_NONE;
    DWORD bytes = 0;
    if (::RegQueryValueExW(key.Get(), kValueName, nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS || bytes == 0 ||
        type != REG_SZ)
        return {};
    // The stored size may be odd, and the stored text need not end in a zero. With one more character than the stored
    // size, the buffer ends in a zero in any case.
    std::vector<wchar_t> path((std::size_t{bytes} + 1) / sizeof(wchar_t) + 1, L'\0');
    if (::RegQueryValueExW(key.Get(), kValueName, nullptr, &type, reinterpret_cast<BYTE*>(path.data()), &bytes) !=
            ERROR_SUCCESS ||
        type != REG_SZ)
        return {};
    return path.data();
}

// Opened for reading too, because only a readable or writable file can be locked. Where that is refused, the file is
// opened for appending alone.
base::CAutoHandle OpenForAppend(const std::wstring& path) {
    // FILE_APPEND_DATA without FILE_WRITE_DATA: every write goes to the end of the file as it is then, whoever else
    // writes.
    constexpr DWORD kAppend = FILE_APPEND_DATA | SYNCHRONIZE;
    for (const DWORD access : {kAppend | FILE_READ_DATA, kAppend}) {
        base::CAutoHandle file(::CreateFileW(path.c_str(), access,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                             OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (file)
            return file;
    }
    return {};
}

// Keeps other writers, of this process or another, from appending at the same moment. Windows itself appends as one
// step, but a network file system or an emulated one first looks for the end of the file and then writes there.
//
// The lock is one byte far behind any data. Nobody waits for it without limit: its owner may be a thread that was ended
// together with the process that is still unloading us, or a process that is stopped in a debugger. After a wait that
// ended without the lock, lines are written without it for a while, so that not each of them waits, and later waits are
// short. Where files have no locks at all, lines are written without it for good.
class CAppendTurn final {
public:
    CAppendTurn(HANDLE file, std::atomic<ULONGLONG>& suspendedUntilMs) noexcept : m_file(file) {
        const ULONGLONG startedMs = ::GetTickCount64();
        const ULONGLONG suspendedMs = suspendedUntilMs.load(std::memory_order_relaxed);
        if (startedMs < suspendedMs)
            return;
        const ULONGLONG patienceMs = suspendedMs == 0 ? kPatienceMs : kLaterPatienceMs;
        while (!(m_locked =
                     ::LockFileEx(m_file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &m_where))) {
            const DWORD error = ::GetLastError();
            const ULONGLONG nowMs = ::GetTickCount64();
            if (error != ERROR_LOCK_VIOLATION && error != ERROR_IO_PENDING)
                suspendedUntilMs.store(std::numeric_limits<ULONGLONG>::max(), std::memory_order_relaxed);
            else if (nowMs - startedMs > patienceMs)
                suspendedUntilMs.store(nowMs + kPauseMs, std::memory_order_relaxed);
            else {
                ::Sleep(0);
                continue;
            }
            return;
        }
    }
    CAppendTurn(const CAppendTurn&) = delete;
    CAppendTurn& operator=(const CAppendTurn&) = delete;
    ~CAppendTurn() {
        if (m_locked)
            ::UnlockFileEx(m_file, 0, 1, 0, &m_where);
    }

private:
    static constexpr ULONGLONG kPatienceMs = 2000;
    static constexpr ULONGLONG kLaterPatienceMs = 20;
    static constexpr ULONGLONG kPauseMs = 30'000;

    static OVERLAPPED FarBehindTheData() noexcept {
        OVERLAPPED where{};
        where.OffsetHigh = 0x40000000;
        return where;
    }

    const HANDLE m_file;
    OVERLAPPED m_where = FarBehindTheData();
    BOOL m_locked = FALSE;
};

}  // namespace

CLogToFile::CLogToFile() noexcept {
    base::RunQuietly([&] {
        const std::wstring path = ReadLogFilePath();
        if (path.empty())
            return;
        m_path = base::FullPathOf(path);
        m_file = OpenForAppend(base::OpenablePath(m_path));
        m_enabled = static_cast<bool>(m_file);
    });  // out of memory: there is no log file
}

STDMETHODIMP CLogToFile::QueryInterface(REFIID, void** object) noexcept {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP CLogToFile::Log(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line,
                             BSTR function, BSTR message) noexcept {
    if (!m_enabled)
        return S_OK;
    base::RunQuietly([&] {
        const std::string bytes = LogLine(severity, category, static_cast<int>(processId), static_cast<int>(threadId),
                                          file, line, function, message);
        DWORD written = 0;
        const CAppendTurn turn(m_file.Get(), m_turnsSuspendedUntilMs);
        ::WriteFile(m_file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    });  // out of memory: the line is lost
    return S_OK;
}

}  // namespace TKRuntimeLogger
