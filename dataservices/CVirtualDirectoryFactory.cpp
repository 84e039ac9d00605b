#include "dataservices/CVirtualDirectoryFactory.h"

#include "dataservices/CVirtualDirectory.h"
#include "dataservices/CVirtualDirectoryItem.h"
#include "dataservices/ComMethod.h"

HRESULT CVirtualDirectoryFactory::CreateVirtualDirectory(ITKDSVirtualDirectory** directory) noexcept {
    return ComMethod(directory, [&] { return GiveNew<CVirtualDirectory>(directory); });
}

HRESULT CVirtualDirectoryFactory::CreateVirtualDirectoryItemFromUri(BSTR uri,
                                                                    ITKDSVirtualDirectoryItem** item) noexcept {
    return ComMethod(item, [&] {
        std::wstring text = TextOf(uri);
        return text.empty() ? E_INVALIDARG : GiveNew<CVirtualDirectoryItem>(item, std::move(text));
    });
}
