#include "diagnostics/CComErrorDescriptionContainer.h"

std::wstring CComErrorDescriptionContainer::GetDescription(HRESULT hr) const {
    const auto found = m_descriptions.find(hr);
    return found != m_descriptions.end() ? found->second : std::wstring{};
}
