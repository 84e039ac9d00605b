#include "metadata/CStreamSource.h"

#include "TKDataServices.h"
#include "base/CTaskMem.h"
#include "base/ComBoundary.h"

#include <wrl/client.h>

namespace metadata {

namespace {

constexpr std::uint64_t kUnknownSizeBit = std::uint64_t{1} << 63;

}  // namespace

IByteSource::Result CStreamSource::Tell(std::uint64_t& position) noexcept {
    ULARGE_INTEGER reached{};
    const HRESULT result = base::ComBoundary([&] { return m_stream->Seek({}, STREAM_SEEK_CUR, &reached); });
    position = reached.QuadPart;
    return result;
}

IByteSource::Facts CStreamSource::Ask() noexcept {
    STATSTG stat{};
    if (FAILED(base::ComBoundary([&] { return m_stream->Stat(&stat, STATFLAG_NONAME); })))
        return {};
    const base::CTaskMem<OLECHAR> name(stat.pwcsName);  // some streams give a name all the same
    Facts facts;
    facts.areSeeksExpensive = stat.grfStateBits == TKDS_STATE_SEEKS_READ_THROUGH;
    if (!(stat.cbSize.QuadPart & kUnknownSizeBit))
        facts.size = stat.cbSize.QuadPart;
    Microsoft::WRL::ComPtr<ITKDSSourceControl> control;
    MIDL_uhyper available = 0;
    const HRESULT here = base::ComBoundary([&]() -> HRESULT {
        const HRESULT hr = m_stream->QueryInterface(IID_PPV_ARGS(&control));
        return FAILED(hr) || !control ? S_OK : control->Await(0, CContent::kHeadBytes, 0, &available);
    });
    facts.isAwaited = here == E_PENDING;
    return facts;
}

IByteSource::Result CStreamSource::SeekTo(std::uint64_t position) noexcept {
    // Not every source accepts a null pointer for the new position. Some report there that they stand elsewhere.
    ULARGE_INTEGER reached{.QuadPart = position};
    const LARGE_INTEGER target{.QuadPart = static_cast<LONGLONG>(position)};
    const HRESULT result = base::ComBoundary([&] { return m_stream->Seek(target, STREAM_SEEK_SET, &reached); });
    return SUCCEEDED(result) && reached.QuadPart != position ? STG_E_SEEKERROR : result;
}

IByteSource::Result CStreamSource::Read(std::span<std::uint8_t> buffer, size_t& count) noexcept {
    const auto wanted = static_cast<ULONG>(buffer.size());
    ULONG read = 0;
    const HRESULT result = base::ComBoundary([&] { return m_stream->Read(buffer.data(), wanted, &read); });
    count = read;
    return SUCCEEDED(result) && read > wanted ? STG_E_READFAULT : result;
}

std::uint64_t SystemTimeMs() {
    return ::GetTickCount64();
}

Detection DetectFormat(IStream* stream, CContent::Clock clock) {
    CStreamSource source(stream);
    return DetectFormat(source, clock);
}

}  // namespace metadata
