#include "dataservices/directories/CVirtualDirectoryFactory.h"

#include "dataservices/com/ComMethod.h"
#include "dataservices/directories/CVirtualDirectory.h"
#include "dataservices/directories/CVirtualDirectoryItem.h"

namespace dataservices {

HRESULT CVirtualDirectoryFactory::CreateVirtualDirectory(ITKDSVirtualDirectory** directory) noexcept {
    return ComMethod<ITKDSVirtualDirectoryFactory>(directory, [&] { return GiveNew<CVirtualDirectory>(directory); });
}

HRESULT CVirtualDirectoryFactory::CreateVirtualDirectoryItemFromUri(BSTR uri,
                                                                    ITKDSVirtualDirectoryItem** item) noexcept {
    return ComMethod<ITKDSVirtualDirectoryFactory>(item, [&] {
        std::wstring text = TextOf(uri);
        return text.empty() ? E_INVALIDARG : GiveNew<CVirtualDirectoryItem>(item, std::move(text));
    });
}

}  // namespace dataservices
