// A DLL with a logger of its own.
#include "diagnostics/TKRuntimeLoggerAPI.h"

static constexpr TKRuntimeLogger::LogSource kSource{L"module", L"ChildModule"};

// Logs one record and ends one timing scope.
extern "C" void LogFromModule(const wchar_t* text) {
    TK_PROFILE(kSource, L"LogFromModule", L"");
    TK_LOG(kSource, TKRuntimeLogger::kInfo, L"LogFromModule", L"%s", text);
}
