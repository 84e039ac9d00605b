// The ids that a directory listed last.
//
// Threads: any, several at once.
#pragma once

#include "base/CSlimLock.h"
#include "dataservices/com/ComMethod.h"

#include <mutex>

namespace dataservices {

class CEntryList final {
public:
    // Gives the number of the new ids.
    [[nodiscard]] long Replace(std::vector<std::wstring> ids) noexcept {
        const auto count = static_cast<long>(ids.size());
        const std::lock_guard lock(m_lock);
        m_ids.swap(ids);
        return count;
    }

    // kOutOfRange: there is no such id, or there was no list yet.
    [[nodiscard]] HRESULT Give(long index, BSTR* id) const {
        const std::lock_guard lock(m_lock);
        return GiveItem(m_ids, index, id);
    }

private:
    mutable base::CSlimLock m_lock;  // guards m_ids; nothing foreign is called under it
    std::vector<std::wstring> m_ids;
};

}  // namespace dataservices
