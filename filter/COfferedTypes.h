// The media types that the pin offers, in order: pairs of major type and subtype.
//
// Threads: any. The filter replaces the list during a load while parsers enumerate it; readers take no lock and see
// each list whole.  Errors: none.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace filter {

struct OfferedType {
    GUID majorType;
    GUID subtype;
};

class COfferedTypes final {
public:
    using List = std::shared_ptr<const std::vector<OfferedType>>;  // null: empty

    void Offer(List types) noexcept { m_types.store(std::move(types)); }
    // Gives what was offered before.
    [[nodiscard]] List Clear() noexcept { return m_types.exchange(nullptr); }

    // Offers again what Clear gave, unless something else is offered by now.
    void TakeBack(List cleared) noexcept {
        List none;
        m_types.compare_exchange_strong(none, std::move(cleared));
    }

    // Empty when there is no such index, negative ones included.
    [[nodiscard]] std::optional<OfferedType> At(int index) const noexcept;

    // Whether an entry has both the major type and the subtype.
    [[nodiscard]] bool Contains(const GUID& majorType, const GUID& subtype) const noexcept;

private:
    std::atomic<List> m_types;
};

}  // namespace filter
