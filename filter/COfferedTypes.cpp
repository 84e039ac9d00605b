#include "filter/COfferedTypes.h"

#include <algorithm>

namespace filter {

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

}  // namespace filter
