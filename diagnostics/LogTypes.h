// What every log site names: a severity, and the category and source file that it reports under.
#pragma once

#include <windows.h>

namespace TKRuntimeLogger {

inline constexpr LONG kDebug = 0;
inline constexpr LONG kInfo = 1;
inline constexpr LONG kWarn = 2;
inline constexpr LONG kError = 3;
inline constexpr LONG kFatal = 4;

// One constant per source file of a user; the texts are literals, which outlive every record.
struct LogSource {
    const wchar_t* category;  // the module's name for ordinary records
    const wchar_t* file;      // as it shall appear in the log, e.g. L"CustomFileSource"
};

}  // namespace TKRuntimeLogger
