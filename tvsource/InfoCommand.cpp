#include "diagnostics/EnvironmentReport.h"
#include "diagnostics/LogDestination.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/CMimeDictionary.h"
#include "tvsource/COpeningLine.h"
#include "tvsource/CSourceFilter.h"
#include "tvsource/Commands.h"
#include "tvsource/SourceName.h"
#include "tvsource/Text.h"

namespace {

using TKRuntimeLogger::LogDestination;

// Says where the report can be read. False: nowhere.
bool LogEnvironment() {
    constexpr auto kCategory = L"tvsource";
    TKRuntimeLogger::LogProcessEnvironment(kCategory);
    TKRuntimeLogger::LogLoadedModules(nullptr, kCategory, FALSE);

    const LogDestination log = TKRuntimeLogger::ThreadLogDestination();
    if (log.kind == LogDestination::Kind::Service)
        Print(L"The environment is in the log of the logging service\n");
    else if (log.kind == LogDestination::Kind::File)
        Print(L"The environment is in the log file " + ShownName(log.path) + L"\n");
    else if (!log.path.empty())
        Complain(L"tvsource: the environment is not reported: the log file " + ShownName(log.path) +
                 L" can't be opened\n");
    else
        Complain(
            L"tvsource: the environment is not reported: no log is on. The registry value LogFile (REG_SZ) of "
            L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Tavel\\TKRuntimeLogger names a log file\n");
    return log.kind != LogDestination::Kind::Nowhere;
}

// What the dictionary that the filter uses says of the content. Sets `code` when that can't be told.
std::wstring MimeTypesOf(CSourceFilter& source, int& code) {
    try {
        source.EnableDataFlow();
        return MimeTypesText(CMimeDictionary(source.Folder()).Detect(source.Content().Get()).types);
    } catch (const CHostError& error) {
        code = 1;
        return L"not known: " + error.Text();
    }
}

// With the filter loaded, so that it is among the modules, and before the source is opened: that may fail.
int InfoOf(const CommonOptions& options, bool environment) {
    const std::wstring name = SourceName(options.name);
    CSourceFilter source(options.library);
    int code = !environment || LogEnvironment() ? 0 : 1;
    std::wstring mimeTypes;
    {
        const COpeningLine opening(IsTerminal(STD_ERROR_HANDLE));
        source.Load(name, options.subtype);
        mimeTypes = MimeTypesOf(source, code);
    }

    const CSourceFilter::CurrentFile current = source.Current();
    const CSourceFilter::Length length = source.SourceLength();
    std::wstring text = L"File     " + ShownName(current.name) + L"\nLength   ";
    text += length.estimated ? L"not known (estimated)" : Format(L"%I64d bytes", length.total);
    text += L"\nMIME     " + mimeTypes + L"\nType     " + TypeText(current.type) + L"\n";
    for (const StreamType& type : source.OfferedTypes())
        text += L"Offers   " + TypeText(type) + L"\n";
    Print(text);
    return code;
}

}  // namespace

int Info(const InfoOptions& options) {
    if (options.environment && options.common.name.empty())
        return LogEnvironment() ? 0 : 1;
    return InfoOf(options.common, options.environment);
}
