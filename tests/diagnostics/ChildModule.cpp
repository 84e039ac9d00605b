// A DLL with a logger of its own.
#include "diagnostics/TKRuntimeLoggerAPI.h"

static constexpr TKRuntimeLogger::LogSource kSource{L"module", L"ChildModule"};

// Logs one record, ends one timing scope, and gives the two thread-local slots that the module's logger holds.
extern "C" void LogFromModule(const wchar_t* text, DWORD* slots) {
    TK_PROFILE(kSource, L"LogFromModule", L"");
    TK_LOG(kSource, TKRuntimeLogger::kInfo, L"LogFromModule", L"%s", text);
    slots[0] = TKRuntimeLogger::Detail::frontEndSlot;
    slots[1] = TKRuntimeLogger::Detail::triedSlot;
}
