// A directory of URIs that callers put together. Ids are compared character by character.
//
// Threads: any, several at once.
#pragma once

#include "base/CSlimLock.h"
#include "dataservices/com/CTwoInterfaceObject.h"
#include "dataservices/com/OwnObjects.h"
#include "dataservices/directories/CEntryList.h"

#include <optional>

namespace dataservices {

class CVirtualDirectory final : public CTwoInterfaceObject<ITKDSVirtualDirectory, ITKDSDirectory> {
public:
    // ITKDSVirtualDirectory
    STDMETHODIMP AppendChildWithId(ITKDSVirtualDirectoryItem* item, BSTR id, BSTR name) noexcept override;

    // ITKDSDirectory
    STDMETHODIMP GetEntryCount(long* count) noexcept override;
    STDMETHODIMP GetEntryId(long index, BSTR* entryId) noexcept override;
    STDMETHODIMP GetEntryName(BSTR entryId, BSTR* name) noexcept override;
    STDMETHODIMP HasEntry(BSTR entryId) noexcept override;
    STDMETHODIMP OpenEntryAs(BSTR entryId, BSTR accessorId, VARIANT* accessor) noexcept override;

private:
    struct Entry {
        Microsoft::WRL::ComPtr<IOwnVirtualDirectoryItem> item;
        std::wstring id;
        std::wstring name;
    };

    [[nodiscard]] std::optional<Entry> Find(const std::wstring& id) const;

    mutable base::CSlimLock m_lock;  // guards m_entries; nothing foreign is called under it
    std::vector<Entry> m_entries;
    CEntryList m_list;
};

}  // namespace dataservices
