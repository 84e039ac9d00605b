// Accessor "TKDS.Accessor.GetObjectMetaData". The original URI is always known; it is the one that SourceInfo gives.
// The MIME type is found in the content, and so only where the caller lets the content be opened.
//
// Threads: any, several at once.
#pragma once

#include "dataservices/Place.h"
#include "dataservices/SourceOptions.h"
#include "dataservices/com/CErrorReporting.h"
#include "dataservices/properties/RequestedKeys.h"

#include <utility>

namespace dataservices {

class CObjectMetaData final : public CServiceObject<ITKDSGetObjectMetaData> {
public:
    CObjectMetaData(Place place, SharedOptions options) noexcept
        : m_place(std::move(place)), m_options(std::move(options)) {}

    // ITKDSGetObjectMetaData
    // Otherwise the failure to open the content, or as DetectMimeType.
    STDMETHODIMP GetObjectMetaData(unsigned long flags, ITKCFConstStringList* requestList,
                                   ITKDSMetaData** metaData) noexcept override;
    STDMETHODIMP GetAllObjectMetaData(unsigned long flags, ITKDSMetaData** metaData) noexcept override;

private:
    [[nodiscard]] HRESULT Collect(unsigned long flags, const RequestedKeys& keys, ITKDSMetaData** metaData) const;
    [[nodiscard]] HRESULT ReadMimeType(std::wstring* mimeType) const;

    const Place m_place;
    const SharedOptions m_options;
};

}  // namespace dataservices
