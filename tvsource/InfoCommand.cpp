#include "tvsource/CConsole.h"
#include "tvsource/CSourceFilter.h"
#include "tvsource/Commands.h"
#include "tvsource/SourceName.h"
#include "tvsource/Text.h"

int Info(const CommonOptions& options) {
    const std::wstring name = SourceName(options.name);
    CSourceFilter source(options.library);
    source.Load(name, options.subtype ? &*options.subtype : nullptr);

    const CSourceFilter::CurrentFile current = source.Current();
    const CSourceFilter::Length length = source.SourceLength();
    std::wstring text = L"File     " + current.name + L"\nLength   ";
    text += length.estimated ? L"not known (estimated)" : Format(L"%I64d bytes", length.total);
    text += L"\nType     " + TypeText(current.type) + L"\n";
    for (const StreamType& type : source.OfferedTypes())
        text += L"Offers   " + TypeText(type) + L"\n";
    Print(text);
    return 0;
}
