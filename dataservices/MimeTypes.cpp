#include "dataservices/MimeTypes.h"

#include "diagnostics/ModuleFolder.h"
#include "framework/com/CMimeLibrary.h"

namespace {

constexpr int kInThisModule = 0;

}  // namespace

HRESULT DetectMimeType(IStream* stream, std::wstring* mimeType) {
    mimeType->clear();
    const CMimeLibrary library(ModuleFolder(&kInThisModule));
    HRESULT reason = STG_E_READFAULT;  // as far as the older operation tells it
    IMimeTypeList* list = nullptr;
    if (const auto detect = library.Export<DetectMimeTypesFn>(kDetectMimeTypesExport))
        list = detect(stream, &reason);
    else if (IMimeTypeDictionary* const dictionary = library.Dictionary())
        list = dictionary->Detect(stream);
    else
        return S_FALSE;
    if (!list)
        return FAILED(reason) ? reason : STG_E_READFAULT;
    const std::vector<std::wstring> types = TakeTexts(list);
    if (types.empty())
        return S_FALSE;
    *mimeType = types.front();
    return S_OK;
}

std::vector<std::wstring> KnownMimeTypes() {
    const CMimeLibrary library(ModuleFolder(&kInThisModule));
    IMimeTypeDictionary* const dictionary = library.Dictionary();
    return dictionary ? TakeTexts(dictionary->KnownTypes()) : std::vector<std::wstring>{};
}
