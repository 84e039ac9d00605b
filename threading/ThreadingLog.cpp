#include "threading/ThreadingLog.h"

#include "base/ComBoundary.h"
#include "base/Utf8Text.h"
#include "diagnostics/HResultText.h"
#include "diagnostics/LogSite.h"

namespace threading {

namespace {

constexpr TKRuntimeLogger::LogSource kLog{L"threading", L"ThreadingLog"};

// The words of a standard exception, else those of the result code that it becomes.
std::wstring WordsOf(const std::exception_ptr& thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const std::exception& exception) {
        return base::WideOfUtf8(exception.what());
    } catch (...) {
        return TKRuntimeLogger::HResultText(base::ResultOfCaughtException());
    }
}

}  // namespace

void LogThrown(const char* name, const std::exception_ptr& thrown) noexcept {
    const HRESULT hr = base::ComBoundary([&]() -> HRESULT { std::rethrow_exception(thrown); });
    TK_LOG(kLog, TKRuntimeLogger::kError, L"LogThrown", L"Nobody hears what was thrown in \"%s\": hr=0x%08X (\"%s\")",
           base::WideOfUtf8(name).c_str(), hr, WordsOf(thrown).c_str());
}

void LogLack(const char* name, std::size_t count) noexcept {
    TK_LOG(kLog, TKRuntimeLogger::kError, L"LogLack", L"No thread for \"%s\": %u tasks are discarded",
           base::WideOfUtf8(name).c_str(), static_cast<unsigned>(count));
}

}  // namespace threading
