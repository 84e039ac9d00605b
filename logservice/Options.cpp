#include "logservice/Options.h"

#include "TavelVersion.h"
#include "base/Utf8Text.h"
#include "console/CCommandError.h"
#include "console/CConsole.h"

#include <CLI/CLI.hpp>
#include <initializer_list>
#include <map>
#include <sstream>

namespace logservice {

namespace {

constexpr char kDescription[] =
    "Shows, stores and times what the Tavel media components of this session log. Without arguments: the log, live.\n"
    "Keys there: / filter, blank pause, p timing, q end, ? all of them.\n"
    "\n"
    "Processes reach it when it is registered (--register, once, as administrator), and find it when it runs before\n"
    "they begin to log: each thread decides at its first record.\n"
    "\n"
    "Exit codes:\n"
    "  0  ended in order\n"
    "  1  something failed; standard error says what\n"
    "  2  the command line makes no sense\n"
    "  3  a service runs already in this session";

// The parser works on UTF-8.
struct Words {
    std::vector<std::string> open, category, process, thread, function, text;
    std::string severity, record, profile, report, trace;
    logview::ProfileColumn sort = logview::ProfileColumn::Total;
};

using logview::ProfileColumn;
const std::map<std::string, ProfileColumn> kColumns{
    {"process", ProfileColumn::Process},    {"category", ProfileColumn::Category}, {"file", ProfileColumn::File},
    {"function", ProfileColumn::Function},  {"text", ProfileColumn::Text},         {"count", ProfileColumn::Count},
    {"calls", ProfileColumn::CallsASecond}, {"mean", ProfileColumn::Mean},         {"longest", ProfileColumn::Longest},
    {"total", ProfileColumn::Total},        {"share", ProfileColumn::Share}};

// In quotation marks whatever it is; those within are doubled.
std::wstring Quoted(std::wstring text) {
    for (auto at = text.find(L'"'); at != text.npos; at = text.find(L'"', at + 2))
        text.insert(at, 1, L'"');
    return L'"' + text + L'"';
}

std::wstring FilterOf(const Words& words) {
    std::wstring filter;
    const auto add = [&](const wchar_t* kind, const std::vector<std::string>& values) {
        for (const std::string& value : values) {
            const bool excludes = value.starts_with('!');
            filter += (filter.empty() ? L"" : L" ") + std::wstring(kind) + (excludes ? L"!" : L"") +
                      Quoted(base::WideOfUtf8(value.substr(excludes ? 1 : 0)));
        }
    };
    if (!words.severity.empty())
        add(L"severity=", {words.severity});
    add(L"category=", words.category);
    add(L"process=", words.process);
    add(L"thread=", words.thread);
    add(L"function=", words.function);
    add(L"text=", words.text);
    return filter;
}

// What has no meaning beside what else stands there would be ignored, and somebody who meant something by it would not
// know.
void CheckTogether(const CLI::App& app, Options::Action action) {
    const auto refuse = [&](std::initializer_list<const char*> names, const std::string& beside) {
        for (const char* name : names) {
            if (app.count(name) > 0)
                throw console::CCommandError(base::WideOfUtf8(std::string(name) + " has no meaning " + beside))
                    .Advise(L"--help tells what there is");
        }
    };
    static constexpr std::initializer_list<const char*> kOfService = {"--for", "--patience"};
    static constexpr std::initializer_list<const char*> kOfLogs = {"--severity", "--category", "--process", "--thread",
                                                                   "--function", "--text",     "--record",  "--profile",
                                                                   "--report",   "--trace",    "--sort",    "--quiet"};
    if (action != Options::Action::Serve)
        refuse(kOfService, "without the service");
    if (action != Options::Action::Serve && action != Options::Action::Open)
        refuse(kOfLogs, "where no log is shown");
    if (app.count("--record") == 0)
        refuse({"--rotate-size", "--rotate-count"}, "without --record");
    for (const char* name : {"--record", "--profile", "--report", "--trace"}) {
        if (app.count(name) > 0 && app.get_option(name)->as<std::string>().empty())
            throw console::CCommandError(base::WideOfUtf8(std::string(name) + " needs a name"));
    }
}

void AddFilter(CLI::App& app, Words& words) {
    const char* const group = "Which lines are shown (recordings and pages have all)";
    app.add_option("--severity", words.severity, "at least this one: debug, info, warn, error, fatal or a number")
        ->type_name("NAME")
        ->group(group);
    const auto add = [&](const char* name, std::vector<std::string>& to, const char* what) {
        app.add_option(name, to, what)->type_name("TEXT")->allow_extra_args(false)->group(group);
    };
    add("--category", words.category, "who speaks; several are alternatives, !TEXT leaves out, * and ? are patterns");
    add("--process", words.process, "a process, by its number or file name");
    add("--thread", words.thread, "a thread, by its number");
    add("--function", words.function, "where in the source text");
    add("--text", words.text, "in the message");
}

}  // namespace

std::optional<Options> ParseOptions(const std::vector<std::wstring>& typed) {
    Options options;
    Words words;
    CLI::App app{kDescription, "TKRuntimeLogger"};
    app.set_version_flag("--version", "TKRuntimeLogger " TAVEL_VERSION, "Print the version and exit");
    app.allow_windows_style_options(false);
    bool isRegister = false, isUnregister = false, isStop = false, isQuiet = false;
    unsigned megabytes = 16;
    auto* const actions = app.add_option_group("Instead of serving");
    actions->add_flag("--register", isRegister, "Let processes of both bitnesses reach the service (administrator)");
    actions->add_flag("--unregister", isUnregister, "Take that back (administrator)");
    actions->add_flag("--stop", isStop, "End the service that runs in this session");
    actions->add_option("--open", words.open, "Show recordings or log files, several merged by time")
        ->type_name("PATH");
    actions->require_option(0, 1);
    AddFilter(app, words);
    const char* const outputs = "What is written";
    app.add_option("--record", words.record, "Keep all records in this folder, with dumps, timing and sessions")
        ->type_name("FOLDER")
        ->group(outputs);
    app.add_option("--rotate-size", megabytes, "MiB of a part of the recording, its files together")
        ->check(CLI::Range(1u, 4096u))
        ->capture_default_str()
        ->group(outputs);
    app.add_option("--rotate-count", options.partCount, "parts of the recording that are kept")
        ->check(CLI::Range(1u, 10000u))
        ->capture_default_str()
        ->group(outputs);
    app.add_option("--profile", words.profile, "The timing table as CSV, at the end")
        ->type_name("FILE")
        ->group(outputs);
    app.add_option("--sort", words.sort, "The column by which the timing table is sorted")
        ->transform(CLI::CheckedTransformer(kColumns, CLI::ignore_case))
        ->type_name("COLUMN")
        ->group(outputs);
    app.add_option("--report", words.report, "A page to look at, at the end")->type_name("FILE")->group(outputs);
    app.add_option("--trace", words.trace, "Events for timeline viewers, at the end")
        ->type_name("FILE")
        ->group(outputs);
    app.add_flag("--quiet", isQuiet, "Show no lines");
    app.add_option("--for", options.seconds, "End after so many seconds")->check(CLI::Range(0u, 4'000'000u));
    app.add_option("--patience", options.patience,
                   "Seconds after which a question has its default answer; 0: nobody is asked. Default: 60, without a "
                   "console 0")
        ->check(CLI::Range(0u, 86'400u));
    std::vector<std::string> arguments;
    for (auto word = typed.rbegin(); word != typed.rend(); ++word)  // it takes the words last first
        arguments.push_back(base::Utf8OfWide(*word));
    try {
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0)
            throw console::CCommandError(base::WideOfUtf8(error.what())).Advise(L"--help tells what there is");
        std::ostringstream help, unused;
        app.exit(error, help, unused);
        console::Print(base::WideOfUtf8(help.str()));
        return std::nullopt;
    }
    if (isRegister || isUnregister || isStop)
        options.action = isRegister     ? Options::Action::Register
                         : isUnregister ? Options::Action::Unregister
                                        : Options::Action::Stop;
    for (const std::string& path : words.open)
        options.open.push_back(base::WideOfUtf8(path));
    if (!options.open.empty())
        options.action = Options::Action::Open;
    CheckTogether(app, options.action);
    options.filter = logview::CRecordFilter::Parse(FilterOf(words));
    options.showsLines = !isQuiet;
    options.sort = words.sort;
    options.record = base::WideOfUtf8(words.record);
    options.profile = base::WideOfUtf8(words.profile);
    options.report = base::WideOfUtf8(words.report);
    options.trace = base::WideOfUtf8(words.trace);
    options.partBytes = ULONGLONG{megabytes} << 20;
    return options;
}

}  // namespace logservice
