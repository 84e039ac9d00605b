// What the options of several commands have in common. The parser of the command line fills these while it runs, in
// UTF-8; the functions below make of it what commands work with.
#pragma once

#include "logview/CRecordFilter.h"
#include "tvsource/report/CTurn.h"
#include "tvsource/source/LayerOptions.h"

#include <windows.h>

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

namespace tvsource {

inline constexpr int kWrongUsage = 2;

// Where the help has these options.
inline constexpr char kReportGroup[] = "Options of the output";

// --json, --quiet, --verbose; where there is progress to be shown, --progress.
void AddReportOptions(CLI::App& command, ReportOptions& options, bool hasProgress);

// --log and --log-filter, which the program looks at and not the command.
void AddLogOptions(CLI::App& command);
// What they ask for. Empty: no log.
[[nodiscard]] std::optional<logview::CRecordFilter> LogFilter(const CLI::App& command);

// For sources that are no local files.
struct LayerArguments {
    std::vector<std::string> headers;
    std::string userAgent, referer, cookies, proxy, timeout, connectTimeout, retries, store;
    bool noShareStore = false;

    void AddTo(CLI::App& command);
    [[nodiscard]] LayerOptions Options() const;
    // Throws CLI::ValidationError, without repeating it, where one of several names may be the rest of a header or
    // cookie that lacked its quotation marks.
    void CheckNames(const std::vector<std::string>& names) const;
};

// What all commands that load a source into the filter take, without FILE: --dll, --type, and the two above.
struct SourceArguments {
    std::string library;  // the DLL to take the filter from, or empty: the registered one
    std::string type;
    LayerArguments layer;
    ReportOptions report;

    void AddTo(CLI::App& command, bool hasProgress);
    [[nodiscard]] std::wstring Library() const;
    // Given to the filter in place of what it would find out.
    [[nodiscard]] std::optional<GUID> Subtype() const;
};

// FILE, or FILE... if there may be several.
void AddFile(CLI::App& command, std::string& file);
void AddFiles(CLI::App& command, std::vector<std::string>& files);
// TypedName of such a word.
[[nodiscard]] std::wstring NameOf(const std::string& typed);

// A count of bytes, or a position, from 0 on. Empty: not given.
void AddByteCount(CLI::App& command, const char* name, std::string& value, const char* description);
[[nodiscard]] std::optional<LONGLONG> ByteCount(const std::string& text);

// -o OUT
void AddOutput(CLI::App& command, std::string& output, const char* description);

}  // namespace tvsource
