#include "dataservices/CUriAccessFactory.h"

#include "dataservices/Accessors.h"
#include "dataservices/com/ComMethod.h"

#include <mutex>

namespace dataservices {

SharedOptions CUriAccessFactory::Options() const noexcept {
    const std::lock_guard guard(m_lock);
    return m_options;
}

HRESULT CUriAccessFactory::OpenUriAs(BSTR uri, BSTR accessorId, VARIANT* accessor) noexcept {
    return ComMethod<ITKDSUriAccessFactory>(
        accessor, [&] { return OpenNameAs(TextOf(uri), TextOf(accessorId), Options(), accessor); });
}

// ---- ITKDSSourceOptions

// Those who have the old options keep them.
HRESULT CUriAccessFactory::SetOption(BSTR name, VARIANT value) noexcept {
    return ComMethod<ITKDSSourceOptions>([&] {
        const std::wstring option = TextOf(name);
        const std::lock_guard guard(m_lock);
        auto changed = std::make_shared<SourceOptions>(*m_options);
        const HRESULT hr = dataservices::SetOption(*changed, option, value);
        if (SUCCEEDED(hr))
            m_options = std::move(changed);
        return hr;
    });
}

HRESULT CUriAccessFactory::GetOption(BSTR name, VARIANT* value) noexcept {
    return ComMethod<ITKDSSourceOptions>(value,
                                         [&] { return dataservices::GetOption(*Options(), TextOf(name), value); });
}

}  // namespace dataservices
