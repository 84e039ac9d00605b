#include "tvsource/commands/Arguments.h"

#include "TKDataServices.h"
#include "base/Utf8Text.h"
#include "console/CCommandError.h"
#include "tvsource/source/MediaTypes.h"
#include "tvsource/source/SourceName.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace tvsource {

namespace {

constexpr char kLogGroup[] = "Options of the log";

// What it checks may be a secret, so no message repeats it.
std::string HeaderFault(const std::string& text) {
    const size_t colon = text.find(':');
    return colon == text.npos || colon == 0 || text.find_first_not_of(' ', colon + 1) == text.npos
               ? "a header is NAME: VALUE, in one pair of quotation marks"
               : "";
}

// Cookies that were cut off at the blank between two.
std::string CookiesFault(const std::string& text) {
    return text.ends_with(';') ? "cookies are NAME=VALUE; NAME=VALUE, in one pair of quotation marks" : "";
}

std::string CountFault(const std::string& text) {
    return ByteCount(text) ? std::string() : "'" + text + "' is no number";
}

std::string FilterFault(const std::string& words) {
    try {
        static_cast<void>(logview::CRecordFilter::Parse(base::WideOfUtf8(words)));
        return {};
    } catch (const console::CCommandError& error) {
        return base::Utf8OfWide(error.Text());
    }
}

// Bytes, or MiB where that stands behind the number. Empty: neither.
std::optional<LONGLONG> StoreBytes(std::string text) {
    constexpr LONGLONG kMiB = 0x100000, kMost = std::numeric_limits<LONGLONG>::max() / kMiB;
    const bool isMiB = text.ends_with("MiB");
    if (isMiB)
        text.resize(text.size() - 3);
    const std::optional<LONGLONG> count = ByteCount(text);
    return count && isMiB ? std::optional(std::min(*count, kMost) * kMiB) : count;
}

}  // namespace

std::optional<LONGLONG> ByteCount(const std::string& text) {
    LONGLONG count = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, count);
    return error == std::errc() && parsed == end && count >= 0 ? std::optional(count) : std::nullopt;
}

void AddByteCount(CLI::App& command, const char* name, std::string& value, const char* description) {
    command.add_option(name, value, description)->type_name("BYTES")->check([](const std::string& text) {
        return ByteCount(text)
                   ? std::string()
                   : "'" + text + "' is no number from 0 to " + std::to_string(std::numeric_limits<LONGLONG>::max());
    });
}

void AddReportOptions(CLI::App& command, ReportOptions& options, bool hasProgress) {
    command.add_flag("--json", options.json, "One JSON object for each source, and nothing else on standard output")
        ->group(kReportGroup);
    CLI::Option* const quiet =
        command.add_flag("--quiet", options.quiet, "On standard error failures alone: no notes, no progress")
            ->group(kReportGroup);
    command
        .add_flag("--verbose", options.verbose,
                  "Say on standard error when something does not go on for five seconds, and when it does again")
        ->group(kReportGroup)
        ->excludes(quiet);
    if (hasProgress)
        command.add_flag("--progress", options.progress, "Show the progress even if standard error is no terminal")
            ->group(kReportGroup)
            ->excludes(quiet);
}

void AddLogOptions(CLI::App& command) {
    // The values are left with the parser.
    command
        .add_flag_function(
            "--log", [](std::int64_t) {}, "Show the log of this program and the filter on standard error")
        ->group(kLogGroup);
    command
        .add_option_function<std::vector<std::string>>(
            "--log-filter", [](const std::vector<std::string>&) {},
            "Show what passes of it: severity=warn category=TvFile* thread=N function=*Load* text=\"no such\", "
            "! before a value for what doesn't; may be given several times")
        ->allow_extra_args(false)
        ->type_name("WORDS")
        ->check(FilterFault)
        ->group(kLogGroup);
}

std::optional<logview::CRecordFilter> LogFilter(const CLI::App& command) {
    const CLI::Option& words = *command.get_option("--log-filter");
    if (words.count() == 0 && command.get_option("--log")->count() == 0)
        return std::nullopt;
    std::wstring all;
    for (const std::string& each : words.results())
        all += base::WideOfUtf8(each) + L" ";
    return logview::CRecordFilter::Parse(all);
}

void LayerArguments::AddTo(CLI::App& command) {
    const auto add = [&](const char* name, auto& value, const char* type, const char* description) {
        return command.add_option(name, value, description)->type_name(type)->group("Options of URLs and shares");
    };
    add("--header", headers, "\"NAME: VALUE\"",
        "One more request header, for the URL's own scheme, host and port alone; may be given several times")
        ->allow_extra_args(false)
        ->check(HeaderFault);
    add("--user-agent", userAgent, "TEXT", "How servers are told who asks");
    add("--referer", referer, "URL", "Where servers are told that the URL was found");
    add("--cookies", cookies, "TEXT", "Cookies, for the URL's own scheme, host and port alone")->check(CookiesFault);
    add("--timeout", timeout, "MS", "How long a server may send nothing (100 to 60000)")->check(CountFault);
    add("--connect-timeout", connectTimeout, "MS", "How long to wait for a connection (100 to 120000)")
        ->check(CountFault);
    add("--retries", retries, "N", "How often to ask again when nothing new comes (0 to 20)")->check(CountFault);
    add("--store", store, "BYTES", "How much of the source to keep; 64MiB stands for 67108864")
        ->check([](const std::string& text) {
            return StoreBytes(text) ? std::string() : "'" + text + "' is no number of bytes or MiB";
        });
    add("--proxy", proxy, "HOST:PORT", "The proxy to ask, or direct for none");
    command.add_flag("--no-share-store", noShareStore, "Read files on shares as they are, nothing ahead")
        ->group("Options of URLs and shares");
}

LayerOptions LayerArguments::Options() const {
    LayerOptions options;
    const auto add = [&](const wchar_t* name, const std::string& value, const wchar_t* word) {
        if (!value.empty())
            options.push_back({name, base::WideOfUtf8(value), word});
    };
    for (const std::string& header : headers) {
        const size_t colon = header.find(':');
        const std::wstring name = base::WideOfUtf8(header.substr(0, colon));
        options.push_back({TKDS_OPTION_HEADER + name, base::WideOfUtf8(header.substr(colon + 1)), L"--header " + name});
    }
    add(TKDS_OPTION_USERAGENT, userAgent, L"--user-agent");
    add(TKDS_OPTION_REFERER, referer, L"--referer");
    add(TKDS_OPTION_COOKIES, cookies, L"--cookies");
    add(TKDS_OPTION_SILENCELIMIT, timeout, L"--timeout");
    add(TKDS_OPTION_CONNECTTIMEOUT, connectTimeout, L"--connect-timeout");
    add(TKDS_OPTION_RETRIES, retries, L"--retries");
    if (const std::optional<LONGLONG> bytes = StoreBytes(store))
        add(TKDS_OPTION_STOREBYTES, std::to_string(*bytes), L"--store");
    add(TKDS_OPTION_PROXY, proxy, L"--proxy");
    add(TKDS_OPTION_SHARESTORE, noShareStore ? "0" : "", L"--no-share-store");
    return options;
}

void LayerArguments::CheckNames(const std::vector<std::string>& names) const {
    const bool hasSecrets = !headers.empty() || !cookies.empty();
    const bool isOdd = std::ranges::any_of(names, [](const std::string& name) {
        return !IsUri(NameOf(name)) && name.find_first_of("*?") == name.npos && !IsThere(NameOf(name));
    });
    if (hasSecrets && names.size() > 1 && isOdd)
        throw CLI::ValidationError(
            "FILE", "one is neither a URL nor a file; a header or cookie with blanks needs quotation marks");
}

void SourceArguments::AddTo(CLI::App& command, bool hasProgress) {
    command.add_option("--dll", library, "Take the filter from this DLL; it need not be registered")->type_name("PATH");
    command
        .add_option("--type", type,
                    "Tell the filter the subtype instead of letting it find out: a GUID in braces, or " +
                        base::Utf8OfWide(SubtypeNames()))
        ->type_name("SUBTYPE")
        ->check([](const std::string& text) {
            return SubtypeFromText(base::WideOfUtf8(text))
                       ? std::string()
                       : "'" + text + "' is neither a known name nor a GUID in braces";
        });
    AddReportOptions(command, report, hasProgress);
    layer.AddTo(command);
}

std::wstring SourceArguments::Library() const {
    return base::WideOfUtf8(library);
}

std::optional<GUID> SourceArguments::Subtype() const {
    return type.empty() ? std::nullopt : SubtypeFromText(base::WideOfUtf8(type));
}

void AddFile(CLI::App& command, std::string& file) {
    command.add_option("FILE", file, "The source: a path or a URI")->required();
}

void AddFiles(CLI::App& command, std::vector<std::string>& files) {
    command
        .add_option(
            "FILE", files,
            "The sources: paths, which may be patterns (*.mid), URIs, and folders, which stand for all files in "
            "them")
        ->required();
}

std::wstring NameOf(const std::string& typed) {
    return TypedName(base::WideOfUtf8(typed));
}

void AddOutput(CLI::App& command, std::string& output, const char* description) {
    command.add_option("-o", output, description)->type_name("OUT")->check([](const std::string& name) {
        return name.empty() ? std::string("the file's name is empty") : std::string();
    });
}

}  // namespace tvsource
