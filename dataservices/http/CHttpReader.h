// Reads an http source from any position, by as few requests as it takes.
//
// One answer stays open. The bytes that come next in it are read from there, and so are those a short way ahead. The
// bytes that came last are kept and not asked for again. Everything else is a new request. When an answer breaks off or
// stalls, the source is asked again, from the very next byte. When asking again hasn't helped, the source stays failed
// for kFailedMs: reads that need it fail at once, with the same result, and only a read after that time asks again.
// When another version of the source turns up, the source has failed for good (STG_E_REVERTED): no read mixes two
// versions.
//
// The source is one of three kinds, as its first answer says:
//  - with ranges: any position is asked for directly;
//  - of known length without ranges: to go forward, the bytes between are read; to go back, the source is read anew;
//  - live, of unknown length: it only goes forward, and only what is kept can be read again. It can't be resumed, so
//    any break is for good.
// Some systems don't handle chunked answers well. When the connection breaks off, they report the end, and nothing
// tells that from a real end. They also hand out a chunk only when the next one begins, so the chunk before a stall is
// lost.
//
// Units: positions and counts are bytes.
// Threads: one call at a time.  Lifetime: ends at once, also while data are awaited.
// Errors: std::bad_alloc besides the results. Final failures are logged.
#pragma once

#include "dataservices/http/CRecentBytes.h"
#include "dataservices/http/HttpGet.h"

#include <atomic>
#include <memory>
#include <optional>
#include <span>

namespace dataservices::http {

class CHttpReader final {
public:
    // Gives milliseconds; it measures how long a source stays failed.
    using Clock = ULONGLONG(WINAPI*)();

    // Asks for the source and keeps the answer open.
    // 0x80190000 | status: the server refused.  kHttpInvalidResponse: its answer contradicts itself.  Otherwise as
    // HttpGet.
    [[nodiscard]] static HRESULT Open(CHttpUrl url, Clock clock, std::unique_ptr<CHttpReader>& reader);

    // Another reader of the same version of the same source, which asks for it at its first read. Not for a live
    // source.
    [[nodiscard]] std::unique_ptr<CHttpReader> Clone() const;

    // Empty when the source is live.
    [[nodiscard]] std::optional<ULONGLONG> Length() const noexcept { return m_length; }
    // True: the length is known, but the server gives no ranges, as far as its answers have shown.  Threads: any.
    [[nodiscard]] bool ReadsThrough() const noexcept { return m_length && m_ranges == Ranges::No; }
    // The header "Last-Modified" as it is; empty without one.
    [[nodiscard]] const std::wstring& LastModified() const noexcept { return m_version.lastModified; }
    [[nodiscard]] std::wstring Name() const { return m_original.Printable(); }
    // False: a live source has passed this position and it is no longer kept.
    [[nodiscard]] bool CanReach(ULONGLONG position) const noexcept;

    // Reads from `position` until `target` is full; `*count` receives how many bytes are there, also after a failure.
    // S_FALSE: the data ended before.  STG_E_REVERTED: the source changed.  kHttpTimeout: in spite of all requests
    // nothing came for kNextByteMs, or not enough came within kReadMs. What came meanwhile is not lost, and the next
    // read goes on; but if asking again had brought nothing, reads fail at once for kFailedMs.  kHttpConnectionError:
    // the connection broke off, and asking again didn't help.  Otherwise the result of asking again. A source that
    // stays failed gives what is kept and then the failure.
    [[nodiscard]] HRESULT Read(ULONGLONG position, std::span<BYTE> target, ULONG* count);

private:
    enum class Ranges { No, Untried, Yes };
    static constexpr ULONGLONG kForGood = ~0ull;

    CHttpReader(CHttpUrl url, Clock clock);
    [[nodiscard]] HRESULT Open();
    [[nodiscard]] HRESULT LearnFrom(const HttpAnswer& answer);
    [[nodiscard]] HRESULT Fetch(ULONGLONG position, const base::CDeadline& deadline);
    [[nodiscard]] HRESULT FetchOnce(ULONGLONG position, const base::CDeadline& deadline);
    [[nodiscard]] HRESULT Ask(ULONGLONG position, const base::CDeadline& deadline);
    [[nodiscard]] HRESULT Check(const HttpAnswer& answer, ULONGLONG from) const noexcept;
    [[nodiscard]] bool IsUnchangedWhole(const HttpAnswer& answer, ULONGLONG from) const noexcept;
    void Begin(const HttpAnswer& answer) noexcept;
    [[nodiscard]] HRESULT Receive(const base::CDeadline& deadline);
    [[nodiscard]] HRESULT AskOnceMore(const base::CDeadline& deadline);
    void Take(std::span<const BYTE> bytes, ULONGLONG elapsedMs) noexcept;
    void EndCompleteBody() noexcept;
    void EndLiveSource() noexcept;
    [[nodiscard]] HRESULT PauseBeforeRetry(HRESULT reason, ULONGLONG position,
                                           const base::CDeadline& deadline) noexcept;
    void StayFailed(HRESULT hr) noexcept;
    [[nodiscard]] HRESULT Fail(HRESULT hr, ULONGLONG position) noexcept;

    // The source.
    const CHttpUrl m_original;
    CHttpUrl m_url;  // after all redirects
    HttpAnswer m_version;
    std::optional<ULONGLONG> m_length;
    std::atomic<Ranges> m_ranges = Ranges::No;
    const Clock m_clock;
    HRESULT m_failure = S_OK;     // the last one
    ULONGLONG m_failedUntil = 0;  // by the clock; kForGood

    // The open answer.
    std::shared_ptr<CHttpSession> m_session;
    std::unique_ptr<CHttpRequest> m_request;  // null: none is open
    ULONGLONG m_next = 0;                     // the position of the byte that comes next in it
    std::optional<ULONGLONG> m_bodyEnd;       // where it ends; empty when not told
    std::optional<ULONGLONG> m_liveEnd;       // where a live source has ended

    CRecentBytes m_recent;
    ULONGLONG m_fastBytes = 0;  // that came one after the other without a long wait
    bool m_isUneven = false;    // a whole block was once waited for too long

    // Of the read that is under way.
    ULONGLONG m_furthest = 0;  // how far the source has come
    size_t m_retries = 0;      // since it came further
};

}  // namespace dataservices::http
