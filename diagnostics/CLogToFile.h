// The fallback sink: appends records to the file that the administrator names in the registry, value "LogFile" (REG_SZ)
// of HKEY_LOCAL_MACHINE\SOFTWARE\Tavel\TKRuntimeLogger. (A 32-bit process sees its own view of that key.) Without the
// value there is no log file; there is no default path. REG_EXPAND_SZ is refused: nothing is expanded.
//
// A record is one line, as LogLine makes it.
//
// Threads: any. Each line is a single append. All threads and processes that write to one file take turns by a lock in
// the file itself, held for the length of one append. So lines neither mix nor get lost, unless a writer keeps its turn
// for seconds (stopped in a debugger, say). No other lock is held. The file is never truncated or rotated.
//
// Lifetime: one static instance per module, not reference counted. Errors: none reach the caller; a line that can't be
// written is lost.
#pragma once

#include "TKRuntimeLogger.h"
#include "base/CAutoDestructor.h"

#include <objbase.h>

#include <atomic>
#include <string>

namespace TKRuntimeLogger {

class CLogToFile final : public ITKRuntimeLogger {
public:
    // Reads the registry and opens the file. Works while the module is being loaded.
    CLogToFile() noexcept;
    CLogToFile(const CLogToFile&) = delete;
    CLogToFile& operator=(const CLogToFile&) = delete;

    [[nodiscard]] bool IsEnabled() const noexcept { return m_enabled; }

    // The file's full path; empty if the registry names none.
    [[nodiscard]] const std::wstring& Path() const noexcept { return m_path; }

    // IUnknown
    // E_NOINTERFACE for every id, its own and IUnknown's included: the instance is handed out by its address only.
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return 2; }
    STDMETHODIMP_(ULONG) Release() noexcept override { return 2; }

    // ITKRuntimeLogger
    STDMETHODIMP Log(LONG severity, BSTR category, ULONG processId, ULONG threadId, BSTR file, LONG line, BSTR function,
                     BSTR message) noexcept override;
    // Timing and explicit records reach only an external logging service.
    STDMETHODIMP LogProfile(LONG, BSTR, ULONG, BSTR, LONG, BSTR, BSTR, MIDL_uhyper, double, double,
                            double) noexcept override {
        return S_OK;
    }
    STDMETHODIMP LogExplicit(LONG, BSTR, ULONG, ULONG, BSTR, LONG, ULONG, BSTR, BSTR, VARIANT_BOOL) noexcept override {
        return S_OK;
    }

private:
    std::wstring m_path;
    base::CAutoHandle m_file;
    bool m_enabled = false;
    std::atomic<ULONGLONG> m_turnsSuspendedUntilMs{0};  // see CAppendTurn; in the tick count of the system
};

}  // namespace TKRuntimeLogger
