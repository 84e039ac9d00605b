// The media types that the pin offers, in order: pairs of major type and subtype.
//
// Threads: any. The filter refills the list during a load while parsers enumerate it; readers take no lock and see each
// change whole.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

struct OfferedType {
    GUID majorType;
    GUID subtype;
};

class COfferedTypes final {
public:
    void Clear() noexcept { m_types.store(nullptr); }

    // Throws std::bad_alloc; the list is then as before.
    void Append(const OfferedType& type);

    [[nodiscard]] bool IsEmpty() const noexcept;

    // Nothing when there is no such index, negative ones included.
    [[nodiscard]] std::optional<OfferedType> At(int index) const noexcept;

    // Whether an entry has both the major type and the subtype.
    [[nodiscard]] bool Contains(const GUID& majorType, const GUID& subtype) const noexcept;

private:
    using List = std::vector<OfferedType>;

    std::atomic<std::shared_ptr<const List>> m_types;  // null: empty
};
