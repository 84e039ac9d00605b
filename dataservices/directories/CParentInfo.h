// Accessor "TKDS.Accessor.GetParentInfoForUri". Files and folders stand in a folder; a root, and what is no file,
// stands in none.
//
// Threads: any, several at once.
#pragma once

#include "TKDataServices.h"
#include "dataservices/Place.h"
#include "dataservices/SourceOptions.h"
#include "dataservices/com/CErrorReporting.h"

namespace dataservices {

class CParentInfo final : public CServiceObject<ITKDSGetParentInfoForUri> {
public:
    CParentInfo(const Place& place, SharedOptions options);

    // ITKDSGetParentInfoForUri
    STDMETHODIMP GetParentDirectory(ITKDSDirectory** directory) noexcept override;
    STDMETHODIMP GetEntryId(BSTR* entryId) noexcept override;

private:
    void SetParentOf(const std::wstring& literalPath);

    const SharedOptions m_options;
    std::wstring m_folder;  // its literal path
    std::wstring m_name;    // empty: there is no parent
};

}  // namespace dataservices
