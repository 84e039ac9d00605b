#include "dataservices/directories/CVirtualDirectory.h"

#include "base/ForeignCalls.h"
#include "dataservices/Accessors.h"

#include <algorithm>

namespace dataservices {

HRESULT CVirtualDirectory::AppendChildWithId(ITKDSVirtualDirectoryItem* item, BSTR id, BSTR name) noexcept {
    return ComMethod<ITKDSVirtualDirectory>([&]() -> HRESULT {
        if (!item)
            return E_POINTER;
        Entry entry{nullptr, TextOf(id), TextOf(name)};
        if (entry.id.empty() || FAILED(base::QueryFor(*item, entry.item.GetAddressOf())))
            return E_INVALIDARG;
        const std::lock_guard lock(m_lock);
        if (std::ranges::find(m_entries, entry.id, &Entry::id) != m_entries.end())
            return kExistsAlready;
        m_entries.push_back(std::move(entry));
        return S_OK;
    });
}

HRESULT CVirtualDirectory::GetEntryCount(long* count) noexcept {
    return ComMethod<ITKDSDirectory>(count, [&] {
        std::vector<std::wstring> ids;
        {
            const std::lock_guard lock(m_lock);
            std::ranges::transform(m_entries, std::back_inserter(ids), &Entry::id);
        }
        *count = m_list.Replace(std::move(ids));
        return S_OK;
    });
}

HRESULT CVirtualDirectory::GetEntryId(long index, BSTR* entryId) noexcept {
    return ComMethod<ITKDSDirectory>(entryId, [&] { return m_list.Give(index, entryId); });
}

HRESULT CVirtualDirectory::GetEntryName(BSTR entryId, BSTR* name) noexcept {
    return ComMethod<ITKDSDirectory>(name, [&] {
        const auto entry = Find(TextOf(entryId));
        return entry ? GiveText(entry->name, name) : kNotFound;
    });
}

HRESULT CVirtualDirectory::HasEntry(BSTR entryId) noexcept {
    return ComMethod<ITKDSDirectory>([&] { return Find(TextOf(entryId)) ? S_OK : S_FALSE; });
}

HRESULT CVirtualDirectory::OpenEntryAs(BSTR entryId, BSTR accessorId, VARIANT* accessor) noexcept {
    return ComMethod<ITKDSDirectory>(accessor, [&] {
        const auto entry = Find(TextOf(entryId));
        return entry ? OpenNameAs(entry->item->Uri(), TextOf(accessorId), std::make_shared<const SourceOptions>(),
                                  accessor)
                     : kNotFound;
    });
}

std::optional<CVirtualDirectory::Entry> CVirtualDirectory::Find(const std::wstring& id) const {
    const std::lock_guard lock(m_lock);
    const auto entry = std::ranges::find(m_entries, id, &Entry::id);
    return entry == m_entries.end() ? std::nullopt : std::optional(*entry);
}

}  // namespace dataservices
