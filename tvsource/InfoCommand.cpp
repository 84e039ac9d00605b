#include "base/FormatText.h"
#include "diagnostics/EnvironmentReport.h"
#include "diagnostics/LogDestination.h"
#include "tvsource/CActivity.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/CMimeDictionary.h"
#include "tvsource/COpeningLine.h"
#include "tvsource/CSourceFilter.h"
#include "tvsource/Commands.h"
#include "tvsource/NetworkText.h"
#include "tvsource/SourceName.h"

namespace tvsource {

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

// What the dictionary that the filter uses says of the content, and why that is incomplete or nothing at all.
struct MimeTypes {
    std::wstring text;
    std::wstring fault;  // empty: none
};

// The filter has looked at the content by itself. A source that it couldn't read isn't waited for once more.
MimeTypes MimeTypesOf(CSourceFilter& source) {
    try {
        const HRESULT result = source.DetectionResult().value_or(S_OK);
        if (FAILED(result))
            throw CHostError(DetectionFault(result));
        source.EnableDataFlow();
        const CMimeDictionary::Answer answer = CMimeDictionary(source.Folder()).Detect(source.Content().Get());
        const std::wstring types = MimeTypesText(answer.types),
                           fault = DetectionFault(result == S_OK ? answer.result : result);
        return {fault.empty() ? types : types + L" (" + fault + L")", fault};
    } catch (const CHostError& error) {
        return {L"not known: " + error.Text(), error.Text()};
    }
}

int InfoOf(const CommonOptions& options, bool environment) {
    const std::wstring name = SourceName(options.name);
    CSourceFilter source(options.library);
    bool isDone = !environment || LogEnvironment();
    MimeTypes mime;
    {
        const CActivity activity(L"Info", L"opening " + ShownName(name), options.verbose);
        const COpeningLine opening(IsTerminal(STD_ERROR_HANDLE));
        source.Load(name, options.subtype, options.layer);
        mime = MimeTypesOf(source);
    }
    const CSourceFilter::CurrentFile current = source.Current();
    const CSourceFilter::Length length = source.SourceLength();
    std::wstring text = L"File     " + ShownName(current.name) + L"\nLength   ";
    text += length.estimated ? L"not known (estimated)" : base::FormatText(L"%I64d bytes", length.total);
    text += L"\nMIME     " + mime.text + L"\nType     " + TypeText(current.type) + L"\n";
    for (const StreamType& type : source.OfferedTypes())
        text += L"Offers   " + TypeText(type) + L"\n";
    text += NetworkText(source.Status());
    Print(text);
    if (!mime.fault.empty())
        Complain(L"tvsource: " + ShownName(name) + L": " + mime.fault + L"\n");
    isDone = isDone && mime.fault.empty();
    return isDone ? 0 : 1;
}

}  // namespace

int Info(const InfoOptions& options) {
    if (options.environment && options.common.name.empty())
        return LogEnvironment() ? 0 : 1;
    return InfoOf(options.common, options.environment);
}

}  // namespace tvsource
