#include "dataservices/data/CDataUriStream.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace dataservices {

CDataUriStream::CDataUriStream(Content content, ULONGLONG position) noexcept
    : m_content(std::move(content)), m_position(position) {}

HRESULT CDataUriStream::Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept {
    if (bytesRead)
        *bytesRead = 0;
    if (!buffer)
        return Answer(STG_E_INVALIDPOINTER);
    const ULONGLONG left = m_content->size() > m_position ? m_content->size() - m_position : 0;
    const ULONG count = static_cast<ULONG>(std::min<ULONGLONG>(cb, left));
    if (count > 0)
        std::memcpy(buffer, m_content->data() + m_position, count);
    m_position += count;
    if (bytesRead)
        *bytesRead = count;
    return count < cb ? S_FALSE : S_OK;
}

HRESULT CDataUriStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept {
    const HRESULT hr = SeekTarget(move, origin, m_position, m_content->size(), &m_position);
    if (newPosition)
        newPosition->QuadPart = m_position;
    return Answer(hr);
}

HRESULT CDataUriStream::Stat(STATSTG* stat, DWORD) noexcept {
    if (!stat)
        return Answer(STG_E_INVALIDPOINTER);
    *stat = {};
    stat->type = STGTY_STREAM;
    stat->cbSize.QuadPart = m_content->size();
    stat->grfMode = STGM_READ | STGM_SHARE_DENY_WRITE;
    return S_OK;
}

HRESULT CDataUriStream::Clone(IStream** clone) noexcept {
    return ComMethod<IStream>(clone, [&] {
        Microsoft::WRL::ComPtr<CDataUriStream> made;
        const HRESULT hr = framework::MakeComObject<CDataUriStream>(made.GetAddressOf(), m_content, m_position);
        *clone = made.Detach();
        return hr;
    });
}

HRESULT CreateDataUriStream(const std::optional<DataUri>& uri, IStream** stream) noexcept {
    if (!stream)
        return E_POINTER;
    *stream = nullptr;
    return base::ComBoundary([&]() -> HRESULT {
        auto content = uri ? ContentOfDataUri(*uri) : std::nullopt;
        if (!content)
            return E_INVALIDARG;
        Microsoft::WRL::ComPtr<CDataUriStream> made;
        const HRESULT hr = framework::MakeComObject<CDataUriStream>(
            made.GetAddressOf(), std::make_shared<const std::vector<BYTE>>(std::move(*content)));
        *stream = made.Detach();
        return hr;
    });
}

}  // namespace dataservices
