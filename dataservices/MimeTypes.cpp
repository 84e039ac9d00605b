#include "dataservices/MimeTypes.h"

#include "diagnostics/ModuleFolder.h"
#include "framework/com/CMimeLibrary.h"

namespace {

constexpr int kInThisModule = 0;

}  // namespace

HRESULT DetectMimeType(IStream* stream, std::wstring* mimeType) {
    mimeType->clear();
    const CMimeLibrary library(ModuleFolder(&kInThisModule));
    IMimeTypeDictionary* const dictionary = library.Dictionary();
    if (!dictionary)
        return S_FALSE;
    IMimeTypeList* const list = dictionary->Detect(stream);
    if (!list)
        return STG_E_READFAULT;
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
