#include "dataservices/shares/CShareConnection.h"

#include "dataservices/com/Results.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"

#include <algorithm>
#include <iterator>

namespace dataservices::shares {

using store::Outcome;
using store::Position;

namespace {

constexpr TKRuntimeLogger::LogSource kShareLog{L"TvDataServices", L"ShareStream"};
constexpr DWORD kSilentMs = 5'000;  // then the log says that a read hangs

// Nothing of a piece can be used before all of it has come. So pieces are small until they turn out to come fast.
constexpr ULONG kLeastPiece = 0x4000, kMostPiece = 0x20000;
constexpr ULONGLONG kFastPieceMs = 100, kSlowPieceMs = 400;

// Failures of a network or of its server that may pass.
constexpr DWORD kNetworkErrors[] = {
    ERROR_REM_NOT_LIST,       ERROR_BAD_NETPATH,        ERROR_NETWORK_BUSY,        ERROR_DEV_NOT_EXIST,
    ERROR_ADAP_HDW_ERR,       ERROR_BAD_NET_RESP,       ERROR_UNEXP_NET_ERR,       ERROR_NETNAME_DELETED,
    ERROR_BAD_NET_NAME,       ERROR_SEM_TIMEOUT,        ERROR_NO_NETWORK,          ERROR_GRACEFUL_DISCONNECT,
    ERROR_CONNECTION_REFUSED, ERROR_CONNECTION_INVALID, ERROR_NETWORK_UNREACHABLE, ERROR_HOST_UNREACHABLE,
    ERROR_CONNECTION_ABORTED, ERROR_VC_DISCONNECTED,
};

[[nodiscard]] bool IsOfNetwork(HRESULT hr) noexcept {
    return std::ranges::any_of(kNetworkErrors, [&](DWORD each) { return hr == HRESULT_FROM_WIN32(each); });
}

// The code of a stream's failed call. The stream gives one code for all failures of the network, so those are taken
// from the system, which the stream has called last.
[[nodiscard]] HRESULT ResultOf(HRESULT hr) noexcept {
    const HRESULT error = HRESULT_FROM_WIN32(::GetLastError());
    const bool isKnown = IsOfNetwork(error) || error == HRESULT_FROM_WIN32(ERROR_OPERATION_ABORTED);
    return FAILED(hr) && isKnown ? error : hr;
}

}  // namespace

Outcome CShareConnection::OutcomeOf(HRESULT hr) const noexcept {
    if (hr == E_ABORT || hr == HRESULT_FROM_WIN32(ERROR_OPERATION_ABORTED))
        return {E_ABORT, true, {}};
    return {hr, IsOfNetwork(hr), {}};
}

// Opens the file if it isn't, and goes to the position, if the file is still the same.
HRESULT CShareConnection::Prepare(CShareFile::File& file, Position at) const {
    const Opening& opening = m_source->opening;
    if (!file) {
        CShareFile::File made;
        if (const HRESULT hr = framework::MakeComObject<CLocalFileSystemStream>(made.GetAddressOf()); FAILED(hr))
            return hr;
        const DWORD error = made->OpenFullPath(opening.path.readable, opening.path.literal, opening.mode);
        if (error != ERROR_SUCCESS)
            return std::ranges::find(kNetworkErrors, error) != std::end(kNetworkErrors) ? HRESULT_FROM_WIN32(error)
                                                                                        : ResultOfFileError(error);
        file = std::move(made);
    }
    STATSTG stat{};
    if (const HRESULT hr = ResultOf(file->Stat(&stat, STATFLAG_NONAME)); FAILED(hr)) {
        file.Reset();
        return hr;
    }
    if (!m_source->IsAsOpened(stat))
        return STG_E_REVERTED;
    return file->Seek({.QuadPart = static_cast<LONGLONG>(at)}, STREAM_SEEK_SET, nullptr);
}

Outcome CShareConnection::Open(Position at, std::optional<Position> end, Position* begin, store::SourceFacts* facts) {
    const Position length = m_source->facts.cbSize.QuadPart;
    const HRESULT hr = m_file->Run([&](CShareFile::File& file) { return Prepare(file, at); });
    if (FAILED(hr))
        return OutcomeOf(hr);
    *begin = m_at = at;
    m_end = std::min(end.value_or(length), length);
    m_piece = std::max(m_piece, kLeastPiece);
    *facts = {length, true};
    return {};
}

Outcome CShareConnection::Read(std::span<const store::Byte>* bytes) {
    *bytes = {};
    if (m_at >= m_end)
        return {S_FALSE, false, {}};
    const TKRuntimeLogger::CHangDetector waiting(kShareLog, __LINE__, L"CShareConnection::Read", kSilentMs, [&] {
        return L"waiting for bytes of " + m_source->opening.path.readable;
    });
    const ULONGLONG begun = ::GetTickCount64();
    ULONG got = 0;
    m_bytes.resize(kMostPiece);
    const HRESULT hr = m_file->Run([&](CShareFile::File& file) -> HRESULT {
        const Position most = std::min<Position>(m_end - m_at, m_piece);
        HRESULT read = file ? file->Read(m_bytes.data(), static_cast<ULONG>(most), &got) : E_UNEXPECTED;
        if (FAILED(read)) {
            read = ResultOf(read);
            file.Reset();
        }
        return read;
    });
    if (FAILED(hr))
        return OutcomeOf(hr);
    if (got == 0)
        return {STG_E_REVERTED, false, {}};  // it was cut off
    const ULONGLONG ms = ::GetTickCount64() - begun;
    if (ms < kFastPieceMs)
        m_piece = std::min(m_piece * 2, kMostPiece);
    else if (ms > kSlowPieceMs)
        m_piece = std::max(m_piece / 2, kLeastPiece);
    *bytes = std::span(m_bytes).first(got);
    m_at += got;
    return {m_at == m_end ? S_FALSE : S_OK, false, {}};
}

void CShareConnection::Tell(Position at, HRESULT failure, std::optional<std::uint64_t> pauseMs) {
    const std::wstring& name = m_source->opening.path.readable;
    if (pauseMs)
        TK_LOG(kShareLog, TKRuntimeLogger::kWarn, L"CShareConnection::Tell",
               L"%s: broken at position %I64u, hr=0x%08X; asking again in %I64u ms", name.c_str(), at, failure,
               *pauseMs);
    else
        TK_LOG(kShareLog, TKRuntimeLogger::kError, L"CShareConnection::Tell",
               L"%s: failed at position %I64u, hr=0x%08X", name.c_str(), at, failure);
}

}  // namespace dataservices::shares
