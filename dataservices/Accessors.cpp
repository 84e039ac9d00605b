#include "dataservices/Accessors.h"

#include "dataservices/CStreamCreator.h"
#include "dataservices/com/ComMethod.h"
#include "dataservices/directories/CFolder.h"
#include "dataservices/directories/CParentInfo.h"
#include "dataservices/properties/CObjectMetaData.h"
#include "dataservices/properties/CSourceInfo.h"

namespace dataservices {

HRESULT OpenPlaceAs(const Place& place, const std::wstring& accessorId, const SharedOptions& options,
                    VARIANT* accessor) {
    const auto* const folder = std::get_if<FolderPlace>(&place);
    if (accessorId == TKDS_ACCESSOR_CREATESTREAM && !folder)
        return GiveNew<CStreamCreator>(accessor, place, options);
    if (accessorId == TKDS_ACCESSOR_DIRECTORY && folder)
        return GiveNew<CFolder>(accessor, folder->path.literal, options);
    if (accessorId == TKDS_ACCESSOR_SOURCEINFO)
        return GiveNew<CSourceInfo>(accessor, UriOf(place));
    if (accessorId == TKDS_ACCESSOR_GETPARENTINFOFORURI)
        return GiveNew<CParentInfo>(accessor, place, options);
    if (accessorId == TKDS_ACCESSOR_GETOBJECTMETADATA)
        return GiveNew<CObjectMetaData>(accessor, place, options);
    return E_NOINTERFACE;
}

HRESULT OpenNameAs(const std::wstring& name, const std::wstring& accessorId, const SharedOptions& options,
                   VARIANT* accessor) {
    // An empty name is valid only where a folder is meant: it is the current folder.
    const bool isCurrentFolder = name.empty() && accessorId == TKDS_ACCESSOR_DIRECTORY;
    Place place;
    const HRESULT hr = FindPlace(isCurrentFolder ? L".\\" : name, &place);
    return FAILED(hr) ? hr : OpenPlaceAs(place, accessorId, options, accessor);
}

}  // namespace dataservices
