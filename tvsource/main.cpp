// tvsource: plays, describes, copies, records and checks a media source through the filter TvFileSourceAsync, tells the
// MIME types of files, and explains names.
#include "TavelVersion.h"
#include "base/CApartment.h"
#include "base/LateLoad.h"
#include "base/Utf8Text.h"
#include "console/CCommandError.h"
#include "console/CConsole.h"
#include "tvsource/commands/Arguments.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/report/CLogLines.h"
#include "tvsource/report/CTurn.h"
#include "tvsource/report/Interrupt.h"
#include "tvsource/report/OwnText.h"
#include "tvsource/source/SourceName.h"

#include <windows.h>

#include <objbase.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <sstream>

using namespace tvsource;

namespace {

constexpr int kFailed = 1;

constexpr char kDescription[] =
    "Plays, describes, copies, records and checks a media source through the source filter TvFileSourceAsync.\n"
    "FILE is a path or a URI, http://host/clip.avi say; uri shows how one is understood, detect tells the types of\n"
    "files. URIs other than file: are opened by a data-service layer such as TvDataServices.dll, which is to be\n"
    "registered. detect, info, verify and batch take several of them, also with * and ? in the name of a file, and\n"
    "folders.\n"
    "\n"
    "Exit codes:\n"
    "  0    all that was asked for is done\n"
    "  1    something failed; standard error or the object's error says what, unless a closed pipe takes no more "
    "output\n"
    "  2    the command line makes no sense\n"
    "  130  Ctrl+C, which ends every command at once\n"
    "\n"
    "The filter holds every reader back until its data flow is enabled for the first time\n"
    "(IDataFlowControl::EnableDataFlow), and parsers read while they connect. Every command\n"
    "enables it before anything connects or reads; a host that never does waits forever.";

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

// Where an option takes several words, the parser takes one in brackets for a list of them. With a byte before it that
// no UTF-8 has, it is a word, until the parser has come to what options do with their words.
constexpr char kKeeper = '\xFF';

void KeepBrackets(std::vector<std::string>& words) {
    for (std::string& word : words) {
        if (word.starts_with('[') && word.ends_with(']'))
            word.insert(0, 1, kKeeper);
    }
}

void TakeBrackets(CLI::App& command) {
    for (CLI::Option* option : command.get_options([](const CLI::Option* each) { return each->get_expected() > 0; }))
        option->transform([](const std::string& word) { return word.substr(word.starts_with(kKeeper) ? 1 : 0); });
}

// The parser of the command line, and what it found.
struct CommandLine {
    CommandLine() {
        app.require_subcommand(1);
        app.set_version_flag("--version", "tvsource " TAVEL_VERSION, "Print the version and exit");
        // As the version is: printed, and that is all.
        app.add_flag_callback(
               "--licenses", [] { throw CLI::CallForVersion(std::string(OwnText(L"NOTICES")), 0); },
               "Print what is built in from others, with its licences, and exit")
            ->trigger_on_parse();
        app.allow_windows_style_options(false);  // "/folder/file" is a name here; a command takes this over when added
        for (const auto add :
             {AddPlay, AddInfo, AddCat, AddDetect, AddUri, AddGraph, AddTrace, AddReplay, AddVerify, AddBatch})
            add(app, chosen);
        for (CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
            AddLogOptions(*command);
            TakeBrackets(*command);
        }
    }

    // Empty: no log, or that of other processes, which show it themselves.
    [[nodiscard]] std::optional<logview::CRecordFilter> OwnLogFilter() const {
        const CLI::App& command = *app.get_subcommands().front();
        return command.get_name() == "batch" ? std::nullopt : LogFilter(command);
    }

    CLI::App app{kDescription, "tvsource"};
    Command chosen;
};

// A failure outside of any turn. `step`: one of CTurn's.
void Report(const console::CCommandError& error, const char* step, bool isJson) {
    if (isJson)
        console::Print(base::WideOfUtf8(console::Json{{"error", ErrorObject(step, error)}}.dump()) + L"\n");
    else
        console::Complain(L"tvsource: " + error.Text() + L"\n");
}

// What is wrong with the words, without what may be a secret.
console::CCommandError UsageFault(const CLI::ParseError& error, const std::vector<std::string>& typed) {
    if (dynamic_cast<const CLI::ExtrasError*>(&error) && MayHoldSecrets(typed))
        return console::CCommandError(L"There are words that belong to nothing")
            .Advise(L"a value with blanks needs quotation marks");
    std::string words = error.what();
    std::erase(words, kKeeper);
    return console::CCommandError(Harmless(base::WideOfUtf8(words), typed)).Advise(L"--help tells what there is");
}

// The exit code where no command is to run: help was asked for, or the words make no sense. `words` stand last first.
std::optional<int> Parse(CommandLine& line, std::vector<std::string> words, bool isJson) {
    const std::vector<std::string> typed = words;
    try {
        if (!words.empty())
            CheckFirstWord(line.app, words.back());
        KeepBrackets(words);
        line.app.parse(std::move(words));
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            std::ostringstream help, unused;
            line.app.exit(error, help, unused);
            console::Print(base::WideOfUtf8(help.str()));
            return 0;
        }
        Report(UsageFault(error, typed), step::kArguments, isJson);
        return kWrongUsage;
    }
}

// Whether an object is asked for, also by a line that can't be taken apart.
bool IsJson(const std::vector<std::string>& words) {
    return std::ranges::any_of(words,
                               [](const std::string& word) { return word == "--json" || word.starts_with("--json="); });
}

// `words` stand last first.
int Run(std::vector<std::string> words, bool isJson) {
    CommandLine line;
    if (const std::optional<int> code = Parse(line, std::move(words), isJson))
        return *code;
    const base::CApartment apartment(COINIT_MULTITHREADED);
    console::Check(apartment.Result(), L"Cannot start COM");
    std::optional<CLogLines> log;
    if (std::optional<logview::CRecordFilter> filter = line.OwnLogFilter())
        log.emplace(*std::move(filter));
    return line.chosen();
}

}  // namespace

int wmain(int count, wchar_t** words) {
    base::SearchLibrariesSafely();
    try {
        EndOnInterrupt();
        // The parser takes the words last first.
        std::vector<std::string> arguments;
        for (int i = count - 1; i > 0; --i)
            arguments.push_back(base::Utf8OfWide(words[i]));
        const bool isJson = IsJson(arguments);
        try {
            return Run(std::move(arguments), isJson);
        } catch (const console::CCommandError& error) {
            Report(error, step::kStart, isJson);
        } catch (const std::exception& error) {
            Report(console::CCommandError(base::WideOfUtf8(error.what())), step::kStart, isJson);
        }
    } catch (const console::COutputError& error) {
        if (!error.IsClosedPipe())
            console::Complain(L"tvsource: Cannot write the output: " +
                              console::ResultText(HRESULT_FROM_WIN32(error.Error())) + L"\n");
    } catch (const std::exception& error) {
        console::Complain(L"tvsource: " + base::WideOfUtf8(error.what()) + L"\n");
    }
    return kFailed;
}
