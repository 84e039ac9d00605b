// How the log sites of this folder name themselves, and the one way in which they log: a record that can't be written
// changes nothing. The FILE of the records is HttpStream, and their FUNC is the public operation in which it happened.
// To find the line, search for the text.
#pragma once

#include "diagnostics/TKRuntimeLoggerAPI.h"

namespace dataservices::http {

inline constexpr TKRuntimeLogger::LogSource kHttpLog{L"TvDataServices", L"HttpStream"};

#define HTTP_LOG(severity, function, ...) TK_LOG(kHttpLog, severity, function, __VA_ARGS__)

}  // namespace dataservices::http
