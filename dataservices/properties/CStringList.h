// Class TKCFStringList.
//
// Threads: one at a time.
#pragma once

#include "dataservices/com/CErrorReporting.h"
#include "dataservices/properties/CConstStringList.h"

namespace dataservices {

class CStringList final : public CServiceObject<ITKCFStringList> {
public:
    using Items = CConstStringList::Items;

    CStringList() : m_items(std::make_shared<Items>()) {}
    explicit CStringList(const Items& items) : m_items(std::make_shared<Items>(items)) {}

    // ITKCFStringList
    STDMETHODIMP GetCount(long* count) noexcept override;
    STDMETHODIMP GetItem(long index, BSTR* item) noexcept override;
    STDMETHODIMP IndexOf(BSTR item, long* index) noexcept override;
    STDMETHODIMP Add(BSTR item) noexcept override;
    STDMETHODIMP Insert(long position, BSTR item) noexcept override;
    STDMETHODIMP Remove(long index) noexcept override;
    STDMETHODIMP Clear() noexcept override;
    STDMETHODIMP Clone(ITKCFStringList** list) noexcept override;
    STDMETHODIMP GetConstAccessor(ITKCFConstStringList** list) noexcept override;

private:
    const std::shared_ptr<Items> m_items;  // shared with the read-only faces
};

}  // namespace dataservices
