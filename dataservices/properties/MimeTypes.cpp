#include "dataservices/properties/MimeTypes.h"

#include "base/ModuleFolder.h"
#include "mime/CMimeLibrary.h"

namespace dataservices {

HRESULT DetectMimeType(IStream* stream, std::wstring* mimeType) {
    mimeType->clear();
    const mime::CMimeLibrary library(base::OwnModuleFolder());
    HRESULT reason = STG_E_READFAULT;  // the older operation says only that it failed
    IMimeTypeList* list = nullptr;
    if (const auto detect = library.Export<DetectMimeTypesFn>(kDetectMimeTypesExport))
        list = detect(stream, &reason);
    else if (IMimeTypeDictionary* const dictionary = library.Dictionary())
        list = dictionary->Detect(stream);
    else
        return S_FALSE;
    if (!list)
        return FAILED(reason) ? reason : STG_E_READFAULT;
    const std::vector<std::wstring> types = mime::TakeTexts(list);
    if (types.empty())
        return S_FALSE;
    *mimeType = types.front();
    return S_OK;
}

std::vector<std::wstring> KnownMimeTypes() {
    const mime::CMimeLibrary library(base::OwnModuleFolder());
    IMimeTypeDictionary* const dictionary = library.Dictionary();
    return dictionary ? mime::TakeTexts(dictionary->KnownTypes()) : std::vector<std::wstring>{};
}

}  // namespace dataservices
