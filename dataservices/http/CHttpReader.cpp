#include "dataservices/http/CHttpReader.h"

#include "dataservices/com/Results.h"
#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpLog.h"
#include "dataservices/http/HttpResults.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace dataservices::http {

using TKRuntimeLogger::kError;
using TKRuntimeLogger::kInfo;
using TKRuntimeLogger::kWarn;

namespace {

constexpr DWORD kPartial = HTTP_STATUS_PARTIAL_CONTENT;
constexpr DWORD kRangeNotSatisfiable = 416;

constexpr DWORD kTransformed = 203;  // a proxy has changed the content of a 200

[[nodiscard]] constexpr bool IsWhole(DWORD status) noexcept {
    return status == HTTP_STATUS_OK || status == kTransformed;
}

}  // namespace

CHttpReader::CHttpReader(CHttpUrl url, Clock clock)
    : m_original(std::move(url)), m_url(m_original), m_clock(clock), m_recent(kKeptBytes + kBlockBytes) {}

HRESULT CHttpReader::Open(CHttpUrl url, Clock clock, std::unique_ptr<CHttpReader>& reader) {
    reader.reset();
    std::unique_ptr<CHttpReader> made(new CHttpReader(std::move(url), clock));
    const HRESULT hr = made->Open();
    if (FAILED(hr)) {
        HTTP_LOG(kError, L"CHttpReader::Open", L"%s can't be opened: hr=0x%08X", made->Name().c_str(), hr);
        return hr;
    }
    reader = std::move(made);
    return S_OK;
}

HRESULT CHttpReader::Open() {
    const base::CDeadline deadline(kOpenMs);
    HRESULT hr = CHttpSession::Get(m_session);
    if (FAILED(hr))
        return hr;
    HttpAnswer answer;
    const HttpStart whole{0, {}};
    hr = HttpGet(m_session, m_url, whole, deadline, m_request, answer);
    // The idle connection that was used had just been closed, or an earlier answer had left something in it.
    if (hr == kHttpConnectionError || hr == kHttpInvalidResponse)
        hr = HttpGet(m_session, m_url, whole, deadline, m_request, answer);
    // No range of an empty source can be satisfied. Where the server doesn't say that the source is empty, or gives a
    // part without the length of the whole, it is asked again without a range.
    const bool isVague = (answer.status == kRangeNotSatisfiable && answer.total != 0) ||
                         (answer.status == kPartial && !answer.HasInvalidRange() && !answer.total);
    if (SUCCEEDED(hr) && isVague)
        hr = HttpGet(m_session, m_url, {}, deadline, m_request, answer);
    return FAILED(hr) ? hr : LearnFrom(answer);
}

HRESULT CHttpReader::LearnFrom(const HttpAnswer& answer) {
    m_version = answer;
    if (answer.status == kRangeNotSatisfiable && answer.total == 0) {
        m_length = 0;
        m_request.reset();
        return S_OK;
    }
    if (answer.status != kPartial && !IsWhole(answer.status))
        return ResultOfHttpStatus(answer.status);
    if (answer.hasInvalidLength)
        return kHttpInvalidResponse;
    if (answer.status == kPartial) {
        if (answer.HasInvalidRange() || *answer.rangeStart != 0 || !answer.total)
            return kHttpInvalidResponse;
        m_length = answer.total;
        m_ranges = Ranges::Yes;
    } else {
        m_length = answer.bodyLength;
        // One of unknown length only goes forward.
        m_ranges = m_length && answer.acceptsRanges ? Ranges::Untried : Ranges::No;
    }
    Begin(answer);
    return S_OK;
}

std::unique_ptr<CHttpReader> CHttpReader::Clone() const {
    std::unique_ptr<CHttpReader> clone(new CHttpReader(m_original, m_clock));
    clone->m_url = m_url;
    clone->m_version = m_version;
    clone->m_length = m_length;
    clone->m_ranges = m_ranges.load();
    clone->m_failure = m_failure;
    clone->m_failedUntil = m_failedUntil;
    clone->m_session = m_session;
    return clone;
}

bool CHttpReader::CanReach(ULONGLONG position) const noexcept {
    return m_length || position >= m_next || m_recent.Holds(position);
}

HRESULT CHttpReader::Read(ULONGLONG position, std::span<BYTE> target, ULONG* count) {
    const base::CDeadline deadline(kReadMs);
    *count = 0;
    m_retries = 0;
    m_furthest = position;
    while (!target.empty()) {
        const ULONG kept = m_recent.CopyTo(position, target);
        if (kept == 0) {
            const HRESULT hr = Fetch(position, deadline);
            if (hr != S_OK)
                return hr;
        }
        position += kept;
        *count += kept;
        target = target.subspan(kept);
    }
    return S_OK;
}

// Fetches bytes on the way to `position`, which is not kept.  S_OK: the source has come nearer to it, or has reached
// it. S_FALSE: the source ends before it.
HRESULT CHttpReader::Fetch(ULONGLONG position, const base::CDeadline& deadline) {
    for (;;) {
        if (m_clock() < m_failedUntil)
            return m_failure;
        if ((m_length && position >= *m_length) || (m_liveEnd && position >= *m_liveEnd))
            return S_FALSE;
        if (!CanReach(position))
            return kCannotSeek;
        HRESULT hr = deadline.IsOver() ? E_PENDING : FetchOnce(position, deadline);
        if (SUCCEEDED(hr))
            return S_OK;
        // The time of this read is up, but not the source's: what is under way goes on in the next read.
        if (hr == E_PENDING && deadline.IsOver()) {
            HTTP_LOG(kError, L"CHttpReader::Read", L"%s: position %I64u was not reached in time", Name().c_str(),
                     position);
            if (m_retries > 0)  // asking again brought nothing; a source that merely trickles has not failed
                StayFailed(kHttpTimeout);
            return kHttpTimeout;
        }
        if (hr == E_PENDING)
            hr = kHttpTimeout;
        m_request.reset();
        if (m_length && MayPass(hr))
            hr = PauseBeforeRetry(hr, position, deadline);
        if (FAILED(hr))
            return Fail(hr, position);
    }
}

HRESULT CHttpReader::FetchOnce(ULONGLONG position, const base::CDeadline& deadline) {
    const bool readsOn =
        m_request && m_next <= position && (position - m_next <= kSkippedBytes || m_ranges == Ranges::No);
    const HRESULT hr = readsOn ? S_OK : Ask(position, deadline);
    return FAILED(hr) ? hr : Receive(deadline);
}

HRESULT CHttpReader::Ask(ULONGLONG position, const base::CDeadline& deadline) {
    m_request.reset();
    HttpStart start;
    if (m_ranges != Ranges::No)
        start = {position, m_version.StrongValidator()};
    CHttpUrl url = m_url;
    HttpAnswer answer;
    std::unique_ptr<CHttpRequest> request;
    HRESULT hr = HttpGet(m_session, url, start, deadline, request, answer);
    // The target of a redirect may be valid only for a while.
    const bool isRefused = SUCCEEDED(hr) ? answer.status >= HTTP_STATUS_BAD_REQUEST : MayPass(hr);
    if (isRefused && m_url != m_original) {
        url = m_original;
        hr = HttpGet(m_session, url, start, deadline, request, answer);
    }
    if (SUCCEEDED(hr))
        hr = Check(answer, start.from.value_or(0));
    if (FAILED(hr))
        return hr;
    m_url = std::move(url);
    if (answer.status == kPartial)
        m_ranges = Ranges::Yes;
    else if (start.from.value_or(0) != 0)
        m_ranges = Ranges::No;
    m_request = std::move(request);
    Begin(answer);
    return S_OK;
}

// Checks whether an answer continues the source that was opened. `from` is the position that was asked for.
HRESULT CHttpReader::Check(const HttpAnswer& answer, ULONGLONG from) const noexcept {
    if (answer.status == kRangeNotSatisfiable)
        return STG_E_REVERTED;  // it has become shorter
    if (!IsWhole(answer.status) && answer.status != kPartial)
        return ResultOfHttpStatus(answer.status);
    if (answer.hasInvalidLength)
        return kHttpInvalidResponse;
    if (!answer.IsSameVersionAs(m_version))
        return STG_E_REVERTED;
    if (IsWhole(answer.status))
        return IsUnchangedWhole(answer, from) ? S_OK : STG_E_REVERTED;
    if (answer.HasInvalidRange())
        return kHttpInvalidResponse;
    const bool goesOn =
        answer.rangeStart == from && answer.rangeEnd <= *m_length && answer.total.value_or(*m_length) == *m_length;
    return goesOn ? S_OK : STG_E_REVERTED;
}

// Judges an answer that gives the whole source and doesn't name another version. If the server gave ranges before and a
// range was asked for, such an answer says that the source has changed. But if its tag is the same, the server only
// gives no more ranges. A range from the start may be answered by the whole source in any case.
bool CHttpReader::IsUnchangedWhole(const HttpAnswer& answer, ULONGLONG from) const noexcept {
    const bool hasSameTag = !answer.entityTag.empty() && answer.entityTag == m_version.entityTag;
    return answer.bodyLength == m_length && (m_ranges != Ranges::Yes || from == 0 || hasSameTag);
}

void CHttpReader::Begin(const HttpAnswer& answer) noexcept {
    const bool isRange = answer.status == kPartial;
    m_next = isRange ? *answer.rangeStart : 0;
    m_bodyEnd = isRange ? answer.rangeEnd : answer.bodyLength;
    m_fastBytes = 0;
    EndCompleteBody();
}

HRESULT CHttpReader::Receive(const base::CDeadline& deadline) {
    const bool inBlocks = m_ranges == Ranges::Yes && !m_isUneven && m_fastBytes >= kFastBytes;
    const ULONGLONG left = m_bodyEnd ? *m_bodyEnd - m_next : kBlockBytes;
    const ULONGLONG begin = ::GetTickCount64();
    std::span<const BYTE> bytes;
    HRESULT hr = S_OK;
    {
        const TKRuntimeLogger::CHangDetector waiting(kHttpLog, __LINE__, L"CHttpReader::Read", kSilentMs,
                                                     [&] { return L"waiting for bytes of " + Name(); });
        hr = m_request->Receive(static_cast<ULONG>(std::min<ULONGLONG>(left, kBlockBytes)),
                                inBlocks ? CHttpRequest::Wait::ForAll : CHttpRequest::Wait::ForSome,
                                deadline.Within(inBlocks ? kSlowBlockMs : kNextByteMs), &bytes);
    }
    if (hr == S_OK) {
        Take(bytes, ::GetTickCount64() - begin);
        return S_OK;
    }
    if (hr == S_FALSE) {
        m_request.reset();
        if (m_bodyEnd)  // more was promised
            return kHttpConnectionError;
        EndLiveSource();
        return S_OK;
    }
    if (hr == E_PENDING && inBlocks && !deadline.IsOver()) {
        HTTP_LOG(kInfo, L"CHttpReader::Read",
                 L"%s: data come slowly at position %I64u and are read in small pieces now", Name().c_str(), m_next);
        m_isUneven = true;
        return AskOnceMore(deadline);
    }
    return hr;
}

// Requests the pending block again. The open answer is kept until there is another one, because the server may give no
// second one.
HRESULT CHttpReader::AskOnceMore(const base::CDeadline& deadline) {
    auto open = std::move(m_request);
    const HRESULT hr = Ask(m_next, deadline);
    if (SUCCEEDED(hr) || hr == STG_E_REVERTED)
        return hr;
    m_request = std::move(open);
    return S_OK;
}

void CHttpReader::Take(std::span<const BYTE> bytes, ULONGLONG elapsedMs) noexcept {
    m_recent.Append(m_next, bytes);
    m_next += bytes.size();
    if (m_next > m_furthest) {
        m_furthest = m_next;
        m_retries = 0;
    }
    const bool isFast = elapsedMs * kBlockBytes <= ULONGLONG{bytes.size()} * kFastBlockMs;
    m_fastBytes = isFast ? m_fastBytes + bytes.size() : 0;
    EndCompleteBody();
}

void CHttpReader::EndCompleteBody() noexcept {
    if (m_bodyEnd == m_next)
        m_request.reset();
}

// Logs where a live source ended, because nobody else knows where it was to end.
void CHttpReader::EndLiveSource() noexcept {
    m_liveEnd = m_next;
    HTTP_LOG(kInfo, L"CHttpReader::Read", L"%s has ended at position %I64u", Name().c_str(), m_next);
}

// S_OK: it is time to ask again.  Otherwise `reason`: it was asked often enough, or there is no time left.
HRESULT CHttpReader::PauseBeforeRetry(HRESULT reason, ULONGLONG position, const base::CDeadline& deadline) noexcept {
    if (m_retries == std::size(kPausesMs) || deadline.Left() <= kPausesMs[m_retries])
        return reason;
    const DWORD pauseMs = kPausesMs[m_retries++];
    HTTP_LOG(kWarn, L"CHttpReader::Read", L"%s: broken at position %I64u, hr=0x%08X; asking again in %lu ms",
             Name().c_str(), position, reason, pauseMs);
    ::Sleep(pauseMs);
    return S_OK;
}

void CHttpReader::StayFailed(HRESULT hr) noexcept {
    m_failure = hr;
    m_failedUntil = hr == STG_E_REVERTED || !m_length ? kForGood : m_clock() + kFailedMs;
}

HRESULT CHttpReader::Fail(HRESULT hr, ULONGLONG position) noexcept {
    HTTP_LOG(kError, L"CHttpReader::Read", L"%s: failed at position %I64u, hr=0x%08X", Name().c_str(), position, hr);
    StayFailed(hr);
    return hr;
}

}  // namespace dataservices::http
