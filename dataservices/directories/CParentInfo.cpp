#include "dataservices/directories/CParentInfo.h"

#include "dataservices/FilePath.h"
#include "dataservices/com/ComMethod.h"
#include "dataservices/directories/CFolder.h"

#include <algorithm>

namespace dataservices {

CParentInfo::CParentInfo(const Place& place, SharedOptions options) : m_options(std::move(options)) {
    if (const auto* const file = std::get_if<FilePlace>(&place))
        SetParentOf(file->path.literal);
    else if (const auto* const folder = std::get_if<FolderPlace>(&place))
        SetParentOf(folder->path.literal);
}

void CParentInfo::SetParentOf(const std::wstring& path) {
    const size_t root = RootLength(path);
    const size_t name = std::max(path.rfind(L'\\') + 1, root);
    m_name = name == path.size() ? std::wstring() : ListedName(path);
    m_folder = path.substr(0, std::max(name - 1, root));
}

HRESULT CParentInfo::GetParentDirectory(ITKDSDirectory** directory) noexcept {
    return ComMethod<ITKDSGetParentInfoForUri>(
        directory, [&] { return m_name.empty() ? S_OK : GiveNew<CFolder>(directory, m_folder, m_options); });
}

HRESULT CParentInfo::GetEntryId(BSTR* entryId) noexcept {
    return ComMethod<ITKDSGetParentInfoForUri>(entryId,
                                               [&] { return m_name.empty() ? kNotFound : GiveText(m_name, entryId); });
}

}  // namespace dataservices
