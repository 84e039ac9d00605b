// Logs once more when a function as a whole ends with a failure code.
//
//   HRESULT hr = S_OK;
//   TK_EXIT_SCOPE_GUARD(kSource, L"CThing::Open", hr);
//
// Stands after the timing scope and before the first check. It reads the HRESULT variable when the function is left, so
// every failure must be returned through that variable.
#pragma once

#include "diagnostics/LogTypes.h"

namespace TKRuntimeLogger {

class CExitScopeGuard final {
public:
    // The texts and `result` must outlive the guard. `detail` may be null or empty; else it is named in the record.
    CExitScopeGuard(LONG severity, const LogSource& source, LONG line, const wchar_t* function, const wchar_t* detail,
                    const HRESULT* result) noexcept
        : m_severity(severity),
          m_source(source),
          m_line(line),
          m_function(function),
          m_detail(detail),
          m_result(result) {}
    CExitScopeGuard(const CExitScopeGuard&) = delete;
    CExitScopeGuard& operator=(const CExitScopeGuard&) = delete;

    ~CExitScopeGuard() {
        if (!m_dismissed && FAILED(*m_result))
            Report();
    }

    // The failure is expected: nothing is logged.
    void Dismiss() noexcept { m_dismissed = true; }

private:
    void Report() const noexcept;

    const LONG m_severity;
    const LogSource m_source;
    const LONG m_line;
    const wchar_t* const m_function;
    const wchar_t* const m_detail;
    const HRESULT* const m_result;
    bool m_dismissed = false;
};

}  // namespace TKRuntimeLogger

#define TK_EXIT_SCOPE_GUARD(source, function, hr)                                                                    \
    const ::TKRuntimeLogger::CExitScopeGuard tkExitScopeGuard(::TKRuntimeLogger::kError, source, __LINE__, function, \
                                                              nullptr, &(hr))
