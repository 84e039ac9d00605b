// How the filter's log sites name themselves.
#pragma once

#include "diagnostics/TKRuntimeLoggerAPI.h"

namespace filter {

// All parts of the filter log as one source, whichever file they stand in: the log's readers filter by it.
inline constexpr TKRuntimeLogger::LogSource kFilterLog{L"TvFileSourceAsync", L"CustomFileSource"};

}  // namespace filter
