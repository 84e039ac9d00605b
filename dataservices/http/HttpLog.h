// How the log sites of this folder name themselves, and the one way in which they log: a record that can't be written
// changes nothing. The records have HttpStream as their FILE, and as FUNC the public operation in which it happened;
// the text finds the place.
#pragma once

#include "diagnostics/TKRuntimeLoggerAPI.h"

namespace dataservices::http {

inline constexpr TKRuntimeLogger::LogSource kHttpLog{L"TvDataServices", L"HttpStream"};

#define HTTP_LOG(severity, function, ...) TK_LOG(kHttpLog, severity, function, __VA_ARGS__)

}  // namespace dataservices::http
