// Accessor "TKDS.Accessor.CreateStream". Only that of a file answers ITKDSCreateWritableStream.
//
// Threads: any, several at once.  Results: as the interfaces say; see OpenStream too.
#pragma once

#include "TKDataServices.h"
#include "dataservices/Place.h"
#include "dataservices/SourceOptions.h"
#include "dataservices/com/CTwoInterfaceObject.h"

#include <utility>

namespace dataservices {

class CStreamCreator final : public CTwoInterfaceObject<ITKDSCreateStream, ITKDSCreateWritableStream> {
public:
    CStreamCreator(Place place, SharedOptions options) noexcept
        : m_place(std::move(place)), m_options(std::move(options)) {}

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override;

    // ITKDSCreateStream
    STDMETHODIMP CreateStreamEx2(TKDS_STREAM_CREATION creation, IStream** stream) noexcept override;
    STDMETHODIMP CreateStream(unsigned long access, unsigned long share, IStream** stream) noexcept override;

    // ITKDSCreateWritableStream
    // The default is to read and to write, while others may read.
    STDMETHODIMP CreateWritableStreamEx2(TKDS_STREAM_CREATION creation, IStream** stream) noexcept override;
    STDMETHODIMP CreateWritableStream(unsigned long access, unsigned long share, IStream** stream) noexcept override;

private:
    template <class Interface>
    [[nodiscard]] HRESULT Open(bool isValid, unsigned long access, unsigned long share, IStream** stream) noexcept;

    const Place m_place;
    const SharedOptions m_options;
};

}  // namespace dataservices
