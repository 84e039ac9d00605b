#include "tvsource/source/Registration.h"

#include "base/ModuleFolder.h"
#include "console/Text.h"
#include "tvsource/source/SourceName.h"

namespace tvsource {

std::wstring RegisteringCommand(const wchar_t* library) {
    const std::wstring beside = base::OwnModuleFolder() + library;
    return IsThere(beside) ? L"regsvr32 \"" + console::Printable(beside) + L'"' : std::wstring(L"regsvr32 ") + library;
}

std::wstring DataServicesAdvice() {
    return RegisteringCommand(L"TvDataServices.dll") + L" registers the data services";
}

}  // namespace tvsource
