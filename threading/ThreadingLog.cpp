#include "threading/ThreadingLog.h"

#include "base/ComBoundary.h"
#include "diagnostics/HResultText.h"
#include "diagnostics/LogSite.h"

#include <cstring>
#include <string>

namespace threading {

namespace {

constexpr TKRuntimeLogger::LogSource kLog{L"threading", L"CCallQueue"};

}  // namespace

void LogThrownCall(const char* name, const std::exception_ptr& thrown) noexcept {
    const HRESULT hr = base::ComBoundary([&]() -> HRESULT { std::rethrow_exception(thrown); });
    TK_LOG(kLog, TKRuntimeLogger::kError, L"LogThrownCall", L"A call of %s threw: hr=0x%08X (\"%s\")",
           std::wstring(name, name + std::strlen(name)).c_str(), hr, TKRuntimeLogger::HResultText(hr).c_str());
}

}  // namespace threading
