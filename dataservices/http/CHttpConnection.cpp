#include "dataservices/http/CHttpConnection.h"

#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpLog.h"
#include "dataservices/http/HttpResults.h"
#include "dataservices/http/HttpTime.h"

#include <algorithm>
#include <mutex>

namespace dataservices::http {

using store::Outcome;
using store::Position;

namespace {

[[nodiscard]] std::optional<std::uint64_t> RetryAfterMsOf(const HttpAnswer& answer) noexcept {
    constexpr std::uint64_t kMost = 1'000'000, kTicksPerMs = 10'000;  // more is as good as for ever
    if ((answer.status != 429 && answer.status != HTTP_STATUS_SERVICE_UNAVAIL) || answer.retryAfter.empty())
        return std::nullopt;
    if (answer.retryAfterSeconds)
        return std::min(*answer.retryAfterSeconds, kMost) * 1000;
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    const ULONGLONG until = TicksOf(FileTimeOf(answer.retryAfter));
    return until > TicksOf(now) ? (until - TicksOf(now)) / kTicksPerMs : 0;
}

}  // namespace

Outcome CHttpConnection::OutcomeOf(HRESULT hr) noexcept {
    if (m_abort.Take() || hr == E_ABORT)
        return {E_ABORT, true, {}};
    return {hr == E_PENDING ? kHttpTimeout : hr, hr == E_PENDING || hr == E_OUTOFMEMORY || MayPass(hr), m_retryAfterMs};
}

bool CHttpConnection::IsKnown() const noexcept {
    const std::lock_guard guard(m_source->lock);
    return m_source->version.IsKnown();
}

Outcome CHttpConnection::Open(Position at, std::optional<Position> end, Position* begin, store::SourceFacts* facts) {
    Close();
    m_retryAfterMs.reset();
    m_fastBytes = 0;
    HttpAnswer answer;
    HRESULT hr = m_session ? S_OK : CHttpSession::Get(m_source->options->proxy, m_session);
    if (SUCCEEDED(hr))
        hr = Ask(at, end, answer);
    if (FAILED(hr)) {
        Close();
        return OutcomeOf(hr);
    }
    *begin = m_at = CHttpVersion::Begin(answer);
    m_end = CHttpVersion::End(answer);
    if (end && m_end)
        m_end = std::min<Position>(*m_end, *end);  // some servers give more than was asked for
    const std::lock_guard guard(m_source->lock);
    *facts = {m_source->version.Length(), m_source->version.HasRanges()};
    return {};
}

HRESULT CHttpConnection::Ask(Position at, std::optional<Position> end, HttpAnswer& answer) {
    const base::CDeadline deadline(m_source->options->openMs);
    HttpStart start{at, end, {}};
    CHttpUrl url = m_source->original;
    const bool isKnown = IsKnown();
    {
        const std::lock_guard guard(m_source->lock);
        url = m_source->url;
        if (isKnown)
            start.validator = m_source->version.Validator();
        if (isKnown && !m_source->version.HasRanges())
            start = {};
    }
    const HttpAsker asker{m_session, m_source->original, *m_source->options};
    const auto get = [&] { return HttpGet(asker, url, start, deadline, m_request, answer, &m_abort); };
    HRESULT hr = get();
    // At first, an idle connection may be used that had just been closed, or in which an earlier answer had left
    // something. Later on the source asks again anyway.
    if (!isKnown && (hr == kHttpConnectionError || hr == kHttpInvalidResponse))
        hr = get();
    // The target of a redirect may be valid only for a while. One that says when to come again is.
    const bool isRefused =
        SUCCEEDED(hr) ? answer.status >= HTTP_STATUS_BAD_REQUEST && !RetryAfterMsOf(answer) : MayPass(hr);
    if (isKnown && isRefused && url != m_source->original) {
        url = m_source->original;
        hr = get();
    }
    if (SUCCEEDED(hr) && !isKnown && CHttpVersion::IsVague(answer)) {
        start = {};
        hr = get();
    }
    if (FAILED(hr))
        return hr;
    m_retryAfterMs = RetryAfterMsOf(answer);
    const std::lock_guard guard(m_source->lock);
    hr = m_source->version.Take(answer, start.from.value_or(0));
    if (SUCCEEDED(hr))
        m_source->url = std::move(url);
    return hr;
}

Outcome CHttpConnection::Read(std::span<const store::Byte>* bytes) {
    *bytes = {};
    if (m_end && m_at >= *m_end) {
        Close();
        return {S_FALSE, false, {}};
    }
    const Position left = m_end ? *m_end - m_at : kBlockBytes;
    HRESULT hr = Receive(static_cast<ULONG>(std::min<Position>(left, kBlockBytes)), bytes);
    if (hr == S_FALSE && m_end)
        hr = kHttpConnectionError;  // more was promised
    if (hr == S_FALSE)
        HTTP_LOG(TKRuntimeLogger::kInfo, L"CHttpConnection::Read", L"%s has ended at position %I64u",
                 m_source->original.Printable().c_str(), m_at);
    if (hr != S_OK) {
        Close();
        return hr == S_FALSE ? Outcome{S_FALSE, false, {}} : OutcomeOf(hr);
    }
    m_at += bytes->size();
    return {m_end == m_at ? S_FALSE : S_OK, false, {}};
}

HRESULT CHttpConnection::Receive(ULONG atMost, std::span<const BYTE>* bytes) {
    const TKRuntimeLogger::CHangDetector waiting(kHttpLog, __LINE__, L"CHttpConnection::Read", kSilentMs, [&] {
        return L"waiting for bytes of " + m_source->original.Printable();
    });
    const bool inBlocks = m_end && !m_isUneven && m_fastBytes >= kFastBytes;
    LARGE_INTEGER begun{}, now{}, frequency{};
    ::QueryPerformanceFrequency(&frequency);
    ::QueryPerformanceCounter(&begun);
    for (;;) {
        const auto wait = inBlocks && !m_isUneven ? CHttpRequest::Wait::ForAll : CHttpRequest::Wait::ForSome;
        const HRESULT hr = m_request->Receive(atMost, wait, std::min(m_source->silenceMs.load(), kLookMs), bytes);
        ::QueryPerformanceCounter(&now);
        const ULONGLONG ticks = static_cast<ULONGLONG>(now.QuadPart - begun.QuadPart);
        const ULONGLONG ms = 1000 * ticks / static_cast<ULONGLONG>(frequency.QuadPart);
        if (hr == S_OK) {
            const ULONG count = static_cast<ULONG>(bytes->size());
            m_fastBytes = ms * kFastPerMs <= count ? m_fastBytes + count : 0;
        }
        if (hr != E_PENDING || ms >= m_source->silenceMs)  // which may have been set meanwhile
            return hr;
        if (inBlocks && !m_isUneven && ms >= kSlowBlockMs) {
            if (const HRESULT asked = AskOnceMore(); FAILED(asked))
                return asked;
            ::QueryPerformanceCounter(&begun);
        }
    }
}

// Requests the pending block again. The open answer is kept until there is another one, because the server may give no
// second one.
HRESULT CHttpConnection::AskOnceMore() {
    HTTP_LOG(TKRuntimeLogger::kInfo, L"CHttpConnection::Read",
             L"%s: data come slowly at position %I64u and are read in small pieces now",
             m_source->original.Printable().c_str(), m_at);
    m_isUneven = true;
    auto open = std::move(m_request);
    HttpAnswer answer;
    const HRESULT hr = Ask(m_at, m_end, answer);
    if (hr == STG_E_REVERTED)
        return hr;
    if (SUCCEEDED(hr) && CHttpVersion::Begin(answer) == m_at) {
        if (const auto end = CHttpVersion::End(answer))
            m_end = std::min(*m_end, *end);
        return S_OK;
    }
    m_retryAfterMs.reset();
    m_request = std::move(open);
    return m_request->WatchBy(m_abort);
}

void CHttpConnection::Tell(Position at, HRESULT failure, std::optional<std::uint64_t> pauseMs) {
    const std::wstring name = m_source->original.Printable();
    if (pauseMs)
        HTTP_LOG(TKRuntimeLogger::kWarn, L"CHttpConnection::Tell",
                 L"%s: broken at position %I64u, hr=0x%08X; asking again in %I64u ms", name.c_str(), at, failure,
                 *pauseMs);
    else
        HTTP_LOG(TKRuntimeLogger::kError, L"CHttpConnection::Tell", L"%s: failed at position %I64u, hr=0x%08X",
                 name.c_str(), at, failure);
}

void CHttpConnection::Close() noexcept {
    static_cast<void>(m_abort.Watch(nullptr));
    m_request.reset();
}

}  // namespace dataservices::http
