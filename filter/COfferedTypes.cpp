#include "filter/COfferedTypes.h"

#include <algorithm>

void COfferedTypes::Append(const OfferedType& type) {
    auto current = m_types.load();
    for (;;) {
        auto longer = current ? std::make_shared<List>(*current) : std::make_shared<List>();
        longer->push_back(type);
        if (m_types.compare_exchange_strong(current, std::move(longer)))
            return;
    }
}

bool COfferedTypes::IsEmpty() const noexcept {
    return m_types.load() == nullptr;
}

std::optional<OfferedType> COfferedTypes::At(int index) const noexcept {
    const auto types = m_types.load();
    if (!types || index < 0 || static_cast<std::size_t>(index) >= types->size())
        return std::nullopt;
    return (*types)[static_cast<std::size_t>(index)];
}

bool COfferedTypes::Contains(const GUID& majorType, const GUID& subtype) const noexcept {
    const auto types = m_types.load();
    return types && std::any_of(types->begin(), types->end(), [&](const OfferedType& type) {
               return type.majorType == majorType && type.subtype == subtype;
           });
}
