// The read-only face of a string list, which may change or may have been made for this purpose only.
//
// Threads: one at a time, together with the list that it shows.
#pragma once

#include "TKDataServices.h"
#include "dataservices/com/CErrorReporting.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace dataservices {

class CConstStringList final : public CServiceObject<ITKCFConstStringList> {
public:
    using Items = std::vector<std::wstring>;

    // Shows `items` as they are at each call, and keeps them alive.
    explicit CConstStringList(std::shared_ptr<const Items> items) noexcept : m_items(std::move(items)) {}
    explicit CConstStringList(Items items) : m_items(std::make_shared<const Items>(std::move(items))) {}

    // ITKCFConstStringList
    STDMETHODIMP GetCount(long* count) noexcept override;
    STDMETHODIMP GetItem(long index, BSTR* item) noexcept override;

private:
    const std::shared_ptr<const Items> m_items;
};

}  // namespace dataservices
