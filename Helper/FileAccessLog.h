// How the log sites of this folder name themselves.
#pragma once

#include "diagnostics/TKRuntimeLoggerAPI.h"

namespace FileAccess {

// All parts log as one source, whichever file they stand in: the log's readers filter by it. Records have its path as
// it is seen from a project that takes it in; timing records have its name alone. Both are looked for as they are.
inline constexpr TKRuntimeLogger::LogSource kLog{L"TvFileSourceAsync", L"..\\..\\Helper\\FileAccess"};
inline constexpr TKRuntimeLogger::LogSource kTiming{L"TvFileSourceAsync", L"FileAccess"};

}  // namespace FileAccess
