// tvsource: plays, describes and copies a media source through the filter TvFileSourceAsync, tells the MIME types of
// files, and explains names.
#include <windows.h>

#include <objbase.h>

#include <CLI/CLI.hpp>
#include <sstream>

#include "framework/uri/NameForLog.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/Commands.h"
#include "tvsource/Interrupt.h"
#include "tvsource/MediaTypes.h"
#include "tvsource/Text.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

constexpr char kDescription[] =
    "Plays, describes and copies a media source through the source filter TvFileSourceAsync.\n"
    "FILE is a path or a URI, http://host/clip.avi say; uri shows how one is understood, detect tells the types of\n"
    "files. URIs other than file: are opened by a data-service layer such as TvDataServices.dll, which is to be\n"
    "registered. Ctrl+C ends at once, with exit code 130.\n"
    "\n"
    "The filter holds every reader back until its data flow is enabled for the first time\n"
    "(IDataFlowControl::EnableDataFlow), and parsers read while they connect. play, info\n"
    "and cat enable it before anything connects or reads; a host that never does waits forever.";

// The options as the parser of the command line fills them: in UTF-8.
struct Arguments {
    std::string name;
    std::string library;
    std::string type;
    std::string output;
    std::vector<std::string> names;
    long long offset = 0;
    long long length = -1;
    bool null = false;
    bool environment = false;
    bool explain = false;
    bool progress = false;
};

void AddProgressFlag(CLI::App& command, Arguments& arguments) {
    command.add_flag("--progress", arguments.progress, "Show the progress even if standard error is no terminal");
}

CLI::App* AddCommand(CLI::App& app, Arguments& arguments, const char* name, const char* description) {
    CLI::App* command = app.add_subcommand(name, description);
    command->add_option("FILE", arguments.name, "The source: a path or a URI")->required();
    command->add_option("--dll", arguments.library, "Take the filter from this DLL; it need not be registered")
        ->type_name("PATH");
    command
        ->add_option("--type", arguments.type,
                     "Tell the filter the subtype instead of letting it find out: a GUID in braces, or " +
                         ToUtf8(SubtypeNames()))
        ->type_name("SUBTYPE")
        ->check([](const std::string& text) {
            return SubtypeFromText(FromUtf8(text)) ? std::string()
                                                   : "'" + text + "' is neither a known name nor a GUID in braces";
        });
    return command;
}

CommonOptions Common(const Arguments& arguments) {
    return {FromUtf8(arguments.name), FromUtf8(arguments.library),
            arguments.type.empty() ? std::nullopt : SubtypeFromText(FromUtf8(arguments.type))};
}

// Leaves the apartment after everything that was made in it is gone.
class CApartment final {
public:
    CApartment() { Check(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), L"Cannot start COM"); }
    CApartment(const CApartment&) = delete;
    CApartment& operator=(const CApartment&) = delete;
    ~CApartment() { ::CoUninitialize(); }
};

// What was typed may be repeated in a message about it.
std::wstring WithoutCredentials(std::wstring message, const std::vector<std::string>& typed) {
    for (const std::string& word : typed) {
        const std::wstring name = FromUtf8(word), harmless = NameForLog(name.c_str());
        for (size_t at = 0; harmless != name && (at = message.find(name, at)) != message.npos; at += harmless.size())
            message.replace(at, name.size(), harmless);
    }
    return message;
}

int Run(std::vector<std::string> words) {
    CLI::App app(kDescription, "tvsource");
    app.require_subcommand(1);
    app.allow_windows_style_options(false);  // "/folder/file" is a name here
    Arguments arguments;

    CLI::App* play =
        AddCommand(app, arguments, "play", "Plays the source through the platform's parsers and renderers.");
    play->add_flag("--null", arguments.null,
                   "Show nothing and go as fast as it goes; so it is anyway where there is no screen");
    AddProgressFlag(*play, arguments);
    CLI::App* info = AddCommand(app, arguments, "info",
                                "Prints the length of the source, its MIME types and the types that it offers.");
    info->get_option("FILE")->required(false);  // the environment can be had without one
    info->add_flag("--environment", arguments.environment,
                   "Also write to the log where this program runs, on which system, and the versions of what it has "
                   "loaded; FILE may be left out");
    CLI::App* cat = AddCommand(app, arguments, "cat", "Copies the bytes of the source, as a parser would read them.");
    cat->add_option("--offset", arguments.offset, "The first byte to be copied")->check(CLI::NonNegativeNumber);
    cat->add_option("--length", arguments.length, "How many bytes; all to the end when left out")
        ->check(CLI::NonNegativeNumber);
    cat->add_option("-o", arguments.output, "The file to be written instead of standard output")->type_name("OUT");
    AddProgressFlag(*cat, arguments);

    CLI::App* detect = app.add_subcommand("detect", "Prints the MIME types of files, as their content tells them.");
    detect->add_option("PATH", arguments.names, "Files, URIs, and folders, which stand for all files in them")
        ->required()
        ->type_name("");
    detect->add_flag("--explain", arguments.explain,
                     "Say which format was found, on what bytes, and what was ruled out");

    CLI::App* uri = app.add_subcommand("uri", "Shows how a name is taken apart and what would be opened.");
    uri->add_option("TEXT", arguments.name, "A path or a URI; nothing is opened")->required()->type_name("");

    const std::vector<std::string> typed = words;
    try {
        app.parse(std::move(words));
        if (info->parsed() && info->count("FILE") == 0 && !arguments.environment)
            throw CLI::RequiredError("FILE");
    } catch (const CLI::ParseError& error) {
        std::ostringstream out;
        std::ostringstream err;
        const int code = app.exit(error, out, err);
        Print(FromUtf8(out.str()));
        Complain(WithoutCredentials(FromUtf8(err.str()), typed));
        return code == 0 ? 0 : kWrongUsage;
    }

    const CApartment apartment;
    if (play->parsed())
        return Play({Common(arguments), arguments.null, arguments.progress});
    if (info->parsed())
        return Info({Common(arguments), arguments.environment});
    if (detect->parsed()) {
        DetectOptions options{{}, arguments.explain};
        for (const std::string& name : arguments.names)
            options.names.push_back(FromUtf8(name));
        return Detect(options);
    }
    if (uri->parsed())
        return Uri(FromUtf8(arguments.name));
    CatOptions options{Common(arguments), arguments.offset, std::nullopt, FromUtf8(arguments.output),
                       arguments.progress};
    if (arguments.length >= 0)
        options.length = arguments.length;
    return Cat(options);
}

}  // namespace

int wmain(int count, wchar_t** words) {
    try {
        EndOnInterrupt();
        // The parser takes the words last first.
        std::vector<std::string> arguments;
        for (int i = count - 1; i > 0; --i)
            arguments.push_back(ToUtf8(words[i]));
        return Run(std::move(arguments));
    } catch (const CHostError& error) {
        Complain(L"tvsource: " + error.Text() + L"\n");
    } catch (const std::exception& error) {
        Complain(L"tvsource: " + FromUtf8(error.what()) + L"\n");
    }
    return kFailed;
}
