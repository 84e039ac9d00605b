// tvsource: plays, describes and copies a media source through the filter TvFileSourceAsync, tells the MIME types of
// files, and explains names.
#include "TKDataServices.h"
#include "base/CApartment.h"
#include "base/Utf8Text.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/Commands.h"
#include "tvsource/Interrupt.h"
#include "tvsource/MediaTypes.h"
#include "tvsource/SourceName.h"

#include <windows.h>

#include <objbase.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <sstream>

using namespace tvsource;

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

constexpr char kDescription[] =
    "Plays, describes and copies a media source through the source filter TvFileSourceAsync.\n"
    "FILE is a path or a URI, http://host/clip.avi say; uri shows how one is understood, detect tells the types of\n"
    "files. URIs other than file: are opened by a data-service layer such as TvDataServices.dll, which is to be\n"
    "registered. detect also takes * and ? in the name of a file.\n"
    "\n"
    "Exit codes: 0 all is done; 1 something failed, standard error says what (nothing, if a closed pipe took no more\n"
    "output); 2 the command line makes no sense; 130 Ctrl+C, which ends every command at once.\n"
    "\n"
    "The filter holds every reader back until its data flow is enabled for the first time\n"
    "(IDataFlowControl::EnableDataFlow), and parsers read while they connect. play, info\n"
    "and cat enable it before anything connects or reads; a host that never does waits forever.";

// The options as the parser of the command line fills them, in UTF-8.
struct Arguments {
    std::string name;
    std::string library;
    std::string type;
    std::string output;
    std::vector<std::string> names;
    std::vector<std::string> headers;
    std::string userAgent;
    std::string referer;
    std::string cookies;
    std::string proxy;
    std::string timeout;
    std::string connectTimeout;
    std::string retries;
    std::string store;
    bool noShareStore = false;
    std::string offset;
    std::string length;
    bool null = false;
    bool countedSamples = false;
    bool environment = false;
    bool explain = false;
    bool progress = false;
    bool verbose = false;
};

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

void AddProgressFlag(CLI::App& command, Arguments& arguments) {
    command.add_flag("--progress", arguments.progress, "Show the progress even if standard error is no terminal");
}

void AddVerboseFlag(CLI::App& command, Arguments& arguments) {
    command.add_flag("--verbose", arguments.verbose,
                     "Say on standard error when something does not go on for five seconds, and when it does again");
}

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

// Bytes, or MiB where that stands behind the number. Empty: neither.
std::optional<LONGLONG> StoreBytes(std::string text) {
    constexpr LONGLONG kMiB = 0x100000, kMost = std::numeric_limits<LONGLONG>::max() / kMiB;
    const bool isMiB = text.ends_with("MiB");
    if (isMiB)
        text.resize(text.size() - 3);
    const std::optional<LONGLONG> count = ByteCount(text);
    return count && isMiB ? std::optional(std::min(*count, kMost) * kMiB) : count;
}

// For sources that are no local files.
void AddLayerOptions(CLI::App& command, Arguments& arguments) {
    const auto add = [&](const char* name, auto& value, const char* type, const char* description) {
        return command.add_option(name, value, description)->type_name(type)->group("Options of URLs and shares");
    };
    add("--header", arguments.headers, "\"NAME: VALUE\"",
        "One more request header, for the URL's own scheme, host and port alone; may be given several times")
        ->allow_extra_args(false)
        ->check(HeaderFault);
    add("--user-agent", arguments.userAgent, "TEXT", "How servers are told who asks");
    add("--referer", arguments.referer, "URL", "Where servers are told that the URL was found");
    add("--cookies", arguments.cookies, "TEXT", "Cookies, for the URL's own scheme, host and port alone")
        ->check(CookiesFault);
    add("--timeout", arguments.timeout, "MS", "How long a server may send nothing (100 to 60000)")->check(CountFault);
    add("--connect-timeout", arguments.connectTimeout, "MS", "How long to wait for a connection (100 to 120000)")
        ->check(CountFault);
    add("--retries", arguments.retries, "N", "How often to ask again when nothing new comes (0 to 20)")
        ->check(CountFault);
    add("--store", arguments.store, "BYTES", "How much of the source to keep; 64MiB stands for 67108864")
        ->check([](const std::string& text) {
            return StoreBytes(text) ? std::string() : "'" + text + "' is no number of bytes or MiB";
        });
    add("--proxy", arguments.proxy, "HOST:PORT", "The proxy to ask, or direct for none");
    command.add_flag("--no-share-store", arguments.noShareStore, "Read files on shares as they are, nothing ahead")
        ->group("Options of URLs and shares");
}

LayerOptions LayerOptionsOf(const Arguments& arguments) {
    LayerOptions options;
    const auto add = [&](const wchar_t* name, const std::string& value, const wchar_t* word) {
        if (!value.empty())
            options.push_back({name, base::WideOfUtf8(value), word});
    };
    for (const std::string& header : arguments.headers) {
        const size_t colon = header.find(':');
        const std::wstring name = base::WideOfUtf8(header.substr(0, colon));
        options.push_back({TKDS_OPTION_HEADER + name, base::WideOfUtf8(header.substr(colon + 1)), L"--header " + name});
    }
    add(TKDS_OPTION_USERAGENT, arguments.userAgent, L"--user-agent");
    add(TKDS_OPTION_REFERER, arguments.referer, L"--referer");
    add(TKDS_OPTION_COOKIES, arguments.cookies, L"--cookies");
    add(TKDS_OPTION_SILENCELIMIT, arguments.timeout, L"--timeout");
    add(TKDS_OPTION_CONNECTTIMEOUT, arguments.connectTimeout, L"--connect-timeout");
    add(TKDS_OPTION_RETRIES, arguments.retries, L"--retries");
    if (const std::optional<LONGLONG> bytes = StoreBytes(arguments.store))
        add(TKDS_OPTION_STOREBYTES, std::to_string(*bytes), L"--store");
    add(TKDS_OPTION_PROXY, arguments.proxy, L"--proxy");
    add(TKDS_OPTION_SHARESTORE, arguments.noShareStore ? "0" : "", L"--no-share-store");
    return options;
}

CLI::App* AddCommand(CLI::App& app, Arguments& arguments, const char* name, const char* description) {
    CLI::App* command = app.add_subcommand(name, description);
    command->add_option("FILE", arguments.name, "The source: a path or a URI")->required();
    command->add_option("--dll", arguments.library, "Take the filter from this DLL; it need not be registered")
        ->type_name("PATH");
    command
        ->add_option("--type", arguments.type,
                     "Tell the filter the subtype instead of letting it find out: a GUID in braces, or " +
                         base::Utf8OfWide(SubtypeNames()))
        ->type_name("SUBTYPE")
        ->check([](const std::string& text) {
            return SubtypeFromText(base::WideOfUtf8(text))
                       ? std::string()
                       : "'" + text + "' is neither a known name nor a GUID in braces";
        });
    AddLayerOptions(*command, arguments);
    AddVerboseFlag(*command, arguments);
    return command;
}

CommonOptions Common(const Arguments& arguments) {
    return {TypedName(base::WideOfUtf8(arguments.name)), base::WideOfUtf8(arguments.library),
            arguments.type.empty() ? std::nullopt : SubtypeFromText(base::WideOfUtf8(arguments.type)),
            arguments.verbose, LayerOptionsOf(arguments)};
}

// Words of which one may be a part of a secret that lacked its quotation marks.
bool MayHoldSecrets(const std::vector<std::string>& typed) {
    return std::ranges::any_of(
        typed, [](const std::string& word) { return word.starts_with("--header") || word.starts_with("--cookie"); });
}

// What was typed, made printable: a message may repeat it.
std::wstring Harmless(std::wstring message, const std::vector<std::string>& typed) {
    for (const std::string& word : typed) {
        const std::wstring name = base::WideOfUtf8(word), harmless = ShownName(name);
        for (size_t at = 0; harmless != name && (at = message.find(name, at)) != message.npos; at += harmless.size())
            message.replace(at, name.size(), harmless);
    }
    return message;
}

// The parser itself says only that a command is missing.
void CheckFirstWord(const CLI::App& app, const std::string& word) {
    if (app.get_option_no_throw(word))
        return;
    std::string commands;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (command->get_name() == word)
            return;
        commands += (commands.empty() ? "" : ", ") + command->get_name();
    }
    throw CLI::ParseError("'" + word + "' is no command. There are: " + commands, CLI::ExitCodes::ExtrasError);
}

CLI::App* AddPlay(CLI::App& app, Arguments& arguments) {
    CLI::App* command =
        AddCommand(app, arguments, "play", "Plays the source through the platform's parsers and renderers.");
    command->add_flag("--null", arguments.null,
                      "Show nothing and go as fast as possible, which is always so where there is no screen");
    command->add_flag("--counted-samples", arguments.countedSamples,
                      "For a parser that is written to the filter's own rule: samples that it waited for have a "
                      "reference more. Without it the platform's rule holds, which other parsers rely on");
    AddProgressFlag(*command, arguments);
    return command;
}

CLI::App* AddInfo(CLI::App& app, Arguments& arguments) {
    CLI::App* command = AddCommand(app, arguments, "info",
                                   "Prints the length of the source, its MIME types and the types that it offers.");
    command->get_option("FILE")->required(false);  // the environment can be had without one
    command->add_flag("--environment", arguments.environment,
                      "Also write to the log where this program runs, on which system, and the versions of what it has "
                      "loaded; FILE may be left out");
    return command;
}

void AddCat(CLI::App& app, Arguments& arguments) {
    CLI::App* command =
        AddCommand(app, arguments, "cat", "Copies the bytes of the source, as a parser would read them.");
    AddByteCount(*command, "--offset", arguments.offset, "The first byte to be copied");
    AddByteCount(*command, "--length", arguments.length, "How many bytes; all to the end when left out");
    command->add_option("-o", arguments.output, "The file to be written instead of standard output")->type_name("OUT");
    AddProgressFlag(*command, arguments);
}

CLI::App* AddDetect(CLI::App& app, Arguments& arguments) {
    CLI::App* command = app.add_subcommand("detect", "Prints the MIME types of files, as their content tells them.");
    command
        ->add_option("PATH", arguments.names,
                     "Files, which may be patterns (*.mid), URIs, and folders, which stand for all files in them")
        ->required()
        ->type_name("");
    command->add_flag("--explain", arguments.explain,
                      "Say which format was found, on what bytes, and what was ruled out");
    AddProgressFlag(*command, arguments);
    AddLayerOptions(*command, arguments);
    AddVerboseFlag(*command, arguments);
    return command;
}

CLI::App* AddUri(CLI::App& app, Arguments& arguments) {
    CLI::App* command = app.add_subcommand("uri", "Shows how a name is taken apart and what would be opened.");
    command->add_option("TEXT", arguments.name, "A path or a URI; nothing is opened")->required()->type_name("");
    return command;
}

// The parser of the command line, and what it found.
struct CommandLine {
    CommandLine() {
        app.require_subcommand(1);
        app.set_version_flag("--version", "tvsource " TV_VERSION, "Print the version and exit");
        app.allow_windows_style_options(false);  // "/folder/file" is a name here; a command takes this over when added
        play = AddPlay(app, arguments);
        info = AddInfo(app, arguments);
        AddCat(app, arguments);  // the one that is left when no other was given
        detect = AddDetect(app, arguments);
        uri = AddUri(app, arguments);
    }

    CLI::App app{kDescription, "tvsource"};
    Arguments arguments;
    const CLI::App* play;
    const CLI::App* info;
    const CLI::App* detect;
    const CLI::App* uri;
};

// The exit code where no command is to run: help was asked for, or the words make no sense. `words` stand last first.
std::optional<int> Parse(CommandLine& line, std::vector<std::string> words) {
    const std::vector<std::string> typed = words;
    try {
        if (!words.empty())
            CheckFirstWord(line.app, words.back());
        line.app.parse(std::move(words));
        if (line.info->parsed() && line.info->count("FILE") == 0 && !line.arguments.environment)
            throw CLI::RequiredError("FILE");
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        if (dynamic_cast<const CLI::ExtrasError*>(&error) && MayHoldSecrets(typed)) {
            Complain(L"There are words that belong to nothing; a value with blanks needs quotation marks.\n");
            return kWrongUsage;
        }
        std::ostringstream out;
        std::ostringstream err;
        const int code = line.app.exit(error, out, err);
        Print(base::WideOfUtf8(out.str()));
        Complain(Harmless(base::WideOfUtf8(err.str()), typed));
        return code == 0 ? 0 : kWrongUsage;
    }
}

DetectOptions DetectOptionsOf(const Arguments& arguments) {
    DetectOptions options{{}, arguments.explain, arguments.progress, arguments.verbose, LayerOptionsOf(arguments)};
    for (const std::string& name : arguments.names)
        options.names.push_back(TypedName(base::WideOfUtf8(name)));
    return options;
}

int RunCommand(const CommandLine& line) {
    const Arguments& arguments = line.arguments;
    if (line.play->parsed())
        return Play({Common(arguments), arguments.null, arguments.progress, arguments.countedSamples});
    if (line.info->parsed())
        return Info({Common(arguments), arguments.environment});
    if (line.detect->parsed())
        return Detect(DetectOptionsOf(arguments));
    if (line.uri->parsed())
        return Uri(TypedName(base::WideOfUtf8(arguments.name)));
    return Cat({Common(arguments), ByteCount(arguments.offset).value_or(0), ByteCount(arguments.length),
                base::WideOfUtf8(arguments.output), arguments.progress});
}

// `words` stand last first.
int Run(std::vector<std::string> words) {
    CommandLine line;
    if (const std::optional<int> code = Parse(line, std::move(words)))
        return *code;
    const base::CApartment apartment(COINIT_MULTITHREADED);
    Check(apartment.Result(), L"Cannot start COM");
    return RunCommand(line);
}

}  // namespace

int wmain(int count, wchar_t** words) {
    try {
        EndOnInterrupt();
        // The parser takes the words last first.
        std::vector<std::string> arguments;
        for (int i = count - 1; i > 0; --i)
            arguments.push_back(base::Utf8OfWide(words[i]));
        return Run(std::move(arguments));
    } catch (const CHostError& error) {
        Complain(L"tvsource: " + error.Text() + L"\n");
    } catch (const COutputError& error) {
        if (!error.IsClosedPipe())
            Complain(L"tvsource: Cannot write the output: " + ResultText(HRESULT_FROM_WIN32(error.Error())) + L"\n");
    } catch (const std::exception& error) {
        Complain(L"tvsource: " + base::WideOfUtf8(error.what()) + L"\n");
    }
    return kFailed;
}
