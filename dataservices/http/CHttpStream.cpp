#include "dataservices/http/CHttpStream.h"

#include "TKDataServices.h"
#include "base/CTaskMem.h"

#include <mutex>
#include <utility>

namespace dataservices::http {

namespace {

constexpr ULONGLONG kUnknownSize = ULONGLONG{1} << 63;

// Zero without a time, or with one that can't be read.
[[nodiscard]] FILETIME FileTimeOf(const std::wstring& httpTime) noexcept {
    SYSTEMTIME time{};
    FILETIME fileTime{};
    if (!httpTime.empty() && ::WinHttpTimeToSystemTime(httpTime.c_str(), &time) &&
        !::SystemTimeToFileTime(&time, &fileTime))
        fileTime = {};
    return fileTime;
}

}  // namespace

CHttpStream::CHttpStream(std::unique_ptr<CHttpReader> reader, ULONGLONG position) noexcept
    : m_reader(std::move(reader)), m_position(position) {}

HRESULT CHttpStream::Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept {
    if (bytesRead)
        *bytesRead = 0;
    if (!buffer)
        return STG_E_INVALIDPOINTER;
    const std::lock_guard guard(m_lock);
    ULONG count = 0;
    const HRESULT hr = base::ComBoundary([&] {
        return m_reader->Read(m_position, {static_cast<BYTE*>(buffer), cb}, &count);
    });
    m_position += count;
    if (bytesRead)
        *bytesRead = count;
    return hr;
}

HRESULT CHttpStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept {
    const std::lock_guard guard(m_lock);
    ULONGLONG target = 0;
    HRESULT hr = SeekTarget(move, origin, m_position, m_reader->Length(), &target);
    if (SUCCEEDED(hr) && !m_reader->CanReach(target))
        hr = kCannotSeek;
    if (SUCCEEDED(hr))
        m_position = target;
    if (newPosition)
        newPosition->QuadPart = m_position;
    return hr;
}

HRESULT CHttpStream::Stat(STATSTG* stat, DWORD flag) noexcept {
    if (!stat)
        return STG_E_INVALIDPOINTER;
    *stat = {};
    return base::ComBoundary([&]() -> HRESULT {
        if (!(flag & STATFLAG_NONAME)) {
            stat->pwcsName = base::TaskMemCopyOf(m_reader->Name()).Detach();
            if (!stat->pwcsName)
                return STG_E_INSUFFICIENTMEMORY;
        }
        stat->type = STGTY_STREAM;
        stat->cbSize.QuadPart = m_reader->Length().value_or(kUnknownSize);
        stat->mtime = FileTimeOf(m_reader->LastModified());
        stat->grfMode = STGM_READ | STGM_SHARE_DENY_NONE;
        stat->grfStateBits = m_reader->ReadsThrough() ? TKDS_STATE_SEEKS_READ_THROUGH : 0;
        return S_OK;
    });
}

HRESULT CHttpStream::Clone(IStream** clone) noexcept {
    if (!clone)
        return E_POINTER;
    *clone = nullptr;
    return base::ComBoundary([&]() -> HRESULT {
        const std::lock_guard guard(m_lock);
        if (!m_reader->Length())
            return kCannotSeek;
        Microsoft::WRL::ComPtr<CHttpStream> made;
        const HRESULT hr = framework::MakeComObject<CHttpStream>(made.GetAddressOf(), m_reader->Clone(), m_position);
        *clone = made.Detach();
        return hr;
    });
}

HRESULT CreateHttpStream(const CTKFUri& url, IStream** stream, CHttpReader::Clock clock) noexcept {
    if (!stream)
        return E_POINTER;
    *stream = nullptr;
    return base::ComBoundary([&]() -> HRESULT {
        auto target = CHttpUrl::From(url);
        if (!target)
            return E_INVALIDARG;
        std::unique_ptr<CHttpReader> reader;
        if (const HRESULT hr = CHttpReader::Open(std::move(*target), clock, reader); FAILED(hr))
            return hr;
        Microsoft::WRL::ComPtr<CHttpStream> made;
        const HRESULT hr = framework::MakeComObject<CHttpStream>(made.GetAddressOf(), std::move(reader));
        *stream = made.Detach();
        return hr;
    });
}

}  // namespace dataservices::http
