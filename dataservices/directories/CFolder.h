// A folder of the file system as a directory. All entries are shown, hidden ones too, in the order of the file system.
// Their ids are their names; the file system compares them, usually without case.
//
// Threads: any, several at once.
#pragma once

#include "TKDataServices.h"
#include "dataservices/SourceOptions.h"
#include "dataservices/com/CErrorReporting.h"
#include "dataservices/directories/CEntryList.h"

#include <optional>

namespace dataservices {

class CFolder final : public CServiceObject<ITKDSDirectory> {
public:
    CFolder(std::wstring literalPath, SharedOptions options) noexcept
        : m_path(std::move(literalPath)), m_options(std::move(options)) {}

    // ITKDSDirectory
    // Failures: ResultOfFileError.
    STDMETHODIMP GetEntryCount(long* count) noexcept override;
    STDMETHODIMP GetEntryId(long index, BSTR* entryId) noexcept override;
    STDMETHODIMP GetEntryName(BSTR entryId, BSTR* name) noexcept override;
    STDMETHODIMP HasEntry(BSTR entryId) noexcept override;
    STDMETHODIMP OpenEntryAs(BSTR entryId, BSTR accessorId, VARIANT* accessor) noexcept override;

private:
    [[nodiscard]] HRESULT FindEntry(BSTR entryId, std::wstring* name) const;

    const std::wstring m_path;
    const SharedOptions m_options;
    CEntryList m_list;
};

}  // namespace dataservices
