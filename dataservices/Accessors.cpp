#include "dataservices/Accessors.h"

#include "dataservices/CStreamCreator.h"
#include "dataservices/ComMethod.h"
#include "dataservices/directories/CFolder.h"
#include "dataservices/directories/CParentInfo.h"
#include "dataservices/properties/CObjectMetaData.h"
#include "dataservices/properties/CSourceInfo.h"

namespace dataservices {

HRESULT OpenLocationAs(const Location& location, const std::wstring& accessorId, VARIANT* accessor) {
    const bool isFolder = location.kind == Location::Kind::Folder;
    if (accessorId == TKDS_ACCESSOR_CREATESTREAM && !isFolder)
        return GiveNew<CStreamCreator>(accessor, location);
    if (accessorId == TKDS_ACCESSOR_DIRECTORY && isFolder)
        return GiveNew<CFolder>(accessor, location.text);
    if (accessorId == TKDS_ACCESSOR_SOURCEINFO)
        return GiveNew<CSourceInfo>(accessor, UriOf(location));
    if (accessorId == TKDS_ACCESSOR_GETPARENTINFOFORURI)
        return GiveNew<CParentInfo>(accessor, location);
    if (accessorId == TKDS_ACCESSOR_GETOBJECTMETADATA)
        return GiveNew<CObjectMetaData>(accessor, location);
    return E_NOINTERFACE;
}

HRESULT OpenNameAs(const std::wstring& name, const std::wstring& accessorId, VARIANT* accessor) {
    // An empty name is valid only where a folder is meant: it is the current folder.
    const bool isCurrentFolder = name.empty() && accessorId == TKDS_ACCESSOR_DIRECTORY;
    Location location;
    const HRESULT hr = FindLocation(isCurrentFolder ? L".\\" : name, &location);
    return FAILED(hr) ? hr : OpenLocationAs(location, accessorId, accessor);
}

}  // namespace dataservices
