// The content of a data: URI: bytes that never change, shared by all clones.
//
// Units: positions and sizes are bytes.  Threads: any thread, one call at a time.
#pragma once

#include "dataservices/com/CReadOnlyStream.h"
#include "dataservices/data/DataUri.h"

#include <memory>
#include <optional>
#include <vector>

namespace dataservices {

class CDataUriStream final : public CReadOnlyStream {
public:
    using Content = std::shared_ptr<const std::vector<BYTE>>;

    // `content` is not null.
    explicit CDataUriStream(Content content, ULONGLONG position = 0) noexcept;

    // S_FALSE: the data ended before `cb` bytes; `*bytesRead` has the count.  STG_E_INVALIDPOINTER: `buffer` is null.
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept override;
    // See SeekTarget. `*newPosition` tells where the stream stands, after a failure too.
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept override;
    // Type, size and mode; there is no name.  STG_E_INVALIDPOINTER: `stat` is null.
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) noexcept override;
    STDMETHODIMP Clone(IStream** clone) noexcept override;

private:
    const Content m_content;
    ULONGLONG m_position;
};

// Hands out what ContentOfDataUri gives as a read-only stream that stands at its start. `*stream` is null on failure.
// E_INVALIDARG: there is no `uri`, or ContentOfDataUri gives nothing.  E_POINTER: `stream` is null.  E_OUTOFMEMORY.
[[nodiscard]] HRESULT CreateDataUriStream(const std::optional<DataUri>& uri, IStream** stream) noexcept;

}  // namespace dataservices
