#include "dataservices/properties/MimeTypes.h"

#include "base/ModuleFolder.h"
#include "mime/CMimeLibrary.h"

namespace dataservices {

HRESULT DetectMimeType(IStream* stream, std::wstring* mimeType) {
    mimeType->clear();
    const mime::CMimeLibrary library(base::OwnModuleFolder());
    IMimeTypeDictionary* const dictionary = library.Dictionary();
    if (!dictionary)
        return S_FALSE;
    HRESULT result = S_OK;
    const std::vector<std::wstring> types = library.Detect(*dictionary, stream, result);
    if (types.empty())
        return FAILED(result) ? result : S_FALSE;
    *mimeType = types.front();
    return S_OK;
}

std::vector<std::wstring> KnownMimeTypes() {
    const mime::CMimeLibrary library(base::OwnModuleFolder());
    IMimeTypeDictionary* const dictionary = library.Dictionary();
    return dictionary ? mime::TakeTexts(dictionary->KnownTypes()) : std::vector<std::wstring>{};
}

}  // namespace dataservices
