// A URI that can be put into virtual directories.
//
// Threads: any, several at once.
#pragma once

#include "dataservices/com/CErrorReporting.h"
#include "dataservices/com/OwnObjects.h"

#include <string>
#include <utility>

namespace dataservices {

class CVirtualDirectoryItem final : public CServiceObject<IOwnVirtualDirectoryItem, ITKDSVirtualDirectoryItem> {
public:
    explicit CVirtualDirectoryItem(std::wstring uri) noexcept : m_uri(std::move(uri)) {}

    // ITKDSVirtualDirectoryItem
    STDMETHODIMP GetUri(BSTR* uri) noexcept override;

    // IOwnVirtualDirectoryItem
    STDMETHODIMP_(const wchar_t*) Uri() noexcept override { return m_uri.c_str(); }

private:
    const std::wstring m_uri;
};

}  // namespace dataservices
