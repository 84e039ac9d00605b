#include "diagnostics/CExitScopeGuard.h"

#include "diagnostics/HResultText.h"
#include "diagnostics/LogSite.h"

namespace TKRuntimeLogger {

void CExitScopeGuard::Report() const noexcept {
    AtLogSite([this](ITKRuntimeLoggerAPI& logger) {
        const bool detailed = m_detail && *m_detail;
        LogFormatted(logger, m_source, m_severity, m_line, m_function,
                     L"%s failed on exit scope%s%s%s: HRESULT 0x%08x (\"%s\")", m_function, detailed ? L" (" : L"",
                     detailed ? m_detail : L"", detailed ? L")" : L"", static_cast<unsigned>(*m_result),
                     HResultText(*m_result).c_str());
    });
}

}  // namespace TKRuntimeLogger
