#include "console/Text.h"
#include "framework/uri/NameForLog.h"
#include "tvsource/commands/Arguments.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/report/CTurn.h"
#include "tvsource/source/SourceName.h"

namespace tvsource {

namespace {

const wchar_t* InWords(TKFURI_HOSTNAME_TYPE type) {
    switch (type) {
        case TKFURI_HOSTNAME_REGISTERED_NAME:
            return L"registered name";
        case TKFURI_HOSTNAME_IPV4:
            return L"IPv4 address";
        case TKFURI_HOSTNAME_IPV6:
            return L"IPv6 address";
        case TKFURI_HOSTNAME_UNC_SERVER:
            return L"UNC server";
        default:
            return L"none";
    }
}

// A part that is not there is shown as its label alone, and is null for programs.
void Tell(CTurn& turn, const char* key, std::wstring label, const std::wstring& value) {
    constexpr size_t kValueColumn = 12;
    if (!value.empty())
        label.resize(kValueColumn, L' ');
    turn.Line(label + console::Printable(value));
    turn.Fields()[key] = value.empty() ? console::Json() : console::JsonText(value);
}

void TakeApart(CTurn& turn, framework::CParsedName name) {
    turn.Enter(step::kOpen);
    // Credentials may stand where the grammar sees none: behind a second scheme, or without any.
    const std::wstring shown = framework::NameForLog(name);
    if (name.Uri() && !name.Uri()->IsLocalFile() && shown != name.Text())
        name = framework::CParsedName(shown.c_str());
    const CTKFUri* const uri = name.Uri();
    if (!uri)
        throw console::CCommandError(
            L"'" + console::Printable(shown) +
            L"' is no name: it is empty, a device, a UNC path without a server, or a URI with a "
            L"malformed host, a port above 65535 or control characters");
    Tell(turn, "scheme", L"Scheme", uri->GetScheme());
    // A password may be in it.
    Tell(turn, "userInfo", L"User info",
         std::wstring(uri->GetUserInfo().empty() ? L"" : framework::kHiddenCredentials));
    Tell(turn, "host", L"Host", uri->GetHost());
    Tell(turn, "hostType", L"Host type", InWords(uri->GetHostType()));
    Tell(turn, "port", L"Port", uri->GetPort() ? std::to_wstring(*uri->GetPort()) : std::wstring());
    if (uri->GetPort())
        turn.Fields()["port"] = *uri->GetPort();
    Tell(turn, "path", L"Path", uri->GetPath());
    for (const std::wstring& segment : uri->GetPathSegments())
        Tell(turn, "segments", L"Segment", segment);
    turn.Fields()["segments"] = console::JsonTexts(uri->GetPathSegments());
    Tell(turn, "query", L"Query", uri->GetQuery());
    Tell(turn, "fragment", L"Fragment", uri->GetFragment());
    Tell(turn, "localFile", L"Local file", uri->IsLocalFile() ? L"yes" : L"no");
    turn.Fields()["localFile"] = uri->IsLocalFile();
    Tell(turn, "opens", L"Opens", uri->IsLocalFile() ? uri->GetLocalPath() : L"through the data-service layer");
}

}  // namespace

void AddUri(CLI::App& app, Command& chosen) {
    struct Arguments {
        std::string text;
        ReportOptions report;
    };
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("uri", "Shows how a name is taken apart and what would be opened.");
    command->add_option("TEXT", arguments->text, "A path or a URI; nothing is opened")->required()->type_name("");
    AddReportOptions(*command, arguments->report, false);
    command->callback([=, &chosen] {
        chosen = [=] {
            const framework::CParsedName name(NameOf(arguments->text).c_str());
            return CTurn::Run(arguments->report, "uri", ShownName(name), [&](CTurn& turn) { TakeApart(turn, name); });
        };
    });
}

}  // namespace tvsource
