// Accessor "TKDS.Accessor.SourceInfo".
//
// Threads: any, several at once.
#pragma once

#include "TKDataServices.h"
#include "dataservices/com/CErrorReporting.h"

#include <string>
#include <utility>

namespace dataservices {

class CSourceInfo final : public CServiceObject<ITKDSSourceInfo> {
public:
    explicit CSourceInfo(std::wstring uri) noexcept : m_uri(std::move(uri)) {}

    // ITKDSSourceInfo
    STDMETHODIMP GetUri(BSTR* uri) noexcept override;

private:
    const std::wstring m_uri;
};

}  // namespace dataservices
