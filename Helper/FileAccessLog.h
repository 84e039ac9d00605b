// How the log sites of this folder name themselves.
#pragma once

#include "diagnostics/TKRuntimeLoggerAPI.h"

namespace FileAccess {

// All files of this folder log as one source, because the log's readers filter by it. A record gives the path of this
// folder as a project beside it would write it; a timing record gives the name alone. People search for both texts, so
// they stay as they are.
inline constexpr TKRuntimeLogger::LogSource kLog{L"TvFileSourceAsync", L"..\\..\\Helper\\FileAccess"};
inline constexpr TKRuntimeLogger::LogSource kTiming{L"TvFileSourceAsync", L"FileAccess"};

}  // namespace FileAccess
