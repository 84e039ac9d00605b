// The pin's queue of requests: what parsers ask for without waiting.
#include "base/ComBoundary.h"
#include "filter/CCustomFileSourcePin.h"
#include "filter/FilterLog.h"

#include <vfwmsgs.h>

#include <optional>
#include <utility>

using Microsoft::WRL::ComPtr;

namespace {

constexpr HRESULT kEndOfFile = static_cast<HRESULT>(0x80070026);

// Both locks of a request: the queue lock first, then the stream lock. It never waits for the stream lock while it
// holds the queue lock.
class CRequestLocks final {
public:
    CRequestLocks(CCritSec& queueLock, CCritSec& streamLock) noexcept
        : m_queueLock(queueLock), m_streamLock(streamLock) {
        m_queueLock.Lock();
        if (m_streamLock.TryLock())
            return;
        m_queueLock.Unlock();
        m_streamLock.Lock();
        m_queueLock.Lock();
    }
    CRequestLocks(const CRequestLocks&) = delete;
    CRequestLocks& operator=(const CRequestLocks&) = delete;
    ~CRequestLocks() {
        m_queueLock.Unlock();
        m_streamLock.Unlock();
    }

private:
    CCritSec& m_queueLock;
    CCritSec& m_streamLock;
};

}  // namespace

HRESULT CCustomFileSourcePin::CheckRequest(const IMediaSample* sample) const noexcept {
    if (!sample)
        return E_POINTER;
    if (m_StreamCookie.IsEmpty())
        return E_UNEXPECTED;
    return m_bFlushing ? VFW_E_WRONG_STATE : S_OK;
}

// Takes the queue lock before the stream lock, the reverse of every other read: what a request finds in the
// queue must still be true when its sample joins the queue. To avoid a deadlock, it doesn't wait while it holds the
// queue lock: it gives that lock back first, and afterwards looks again at what the lock guards.
STDMETHODIMP CCustomFileSourcePin::Request(IMediaSample* pSample, DWORD_PTR dwUser) {
    return base::ComBoundary([&]() -> HRESULT {
        {
            CAutoLock queueLock(&m_QueueLock);
            if (const HRESULT hr = CheckRequest(pSample); FAILED(hr))
                return hr;
        }
        PassFlowGate();
        for (;;) {
            Wait wait = m_waits.Begin();
            AwaitSample(wait, pSample);
            const CRequestLocks locks(m_QueueLock, m_StreamLock);
            if (const HRESULT hr = CheckRequest(pSample); FAILED(hr))
                return hr;
            if (!m_waits.IsOver(wait))
                continue;
            if (wait.IsGivenUp(wait.result) && m_waits.IsFlushing())
                return VFW_E_WRONG_STATE;  // of a BeginFlush that is about to take the lock

            ComPtr<IMediaSample> sample = pSample;
            const HRESULT hr = ReadSample(pSample, &wait);
            if (hr != S_OK && pSample->GetActualDataLength() < 1)
                return kEndOfFile;
            m_RequestQueue.push_back({std::move(sample), dwUser});
            m_changed.Raise();
            return S_OK;
        }
    });
}

STDMETHODIMP CCustomFileSourcePin::WaitForNext(DWORD dwTimeout, IMediaSample** ppSample, DWORD_PTR* pdwUser) {
    if (ppSample)
        *ppSample = nullptr;
    if (pdwUser)
        *pdwUser = 0;
    if (!pdwUser || !ppSample)
        return E_POINTER;
    if (m_StreamCookie.IsEmpty())
        return E_UNEXPECTED;

    const ULONGLONG start = ::GetTickCount64();
    std::optional<unsigned> flushes;  // how many there had been when the wait began
    DWORD remaining = dwTimeout;
    for (;;) {
        unsigned changes = 0;
        ComPtr<IMediaSample> uncounted;  // let go of after the lock
        {
            CAutoLock queueLock(&m_QueueLock);
            if (!m_RequestQueue.empty()) {
                PendingRequest& front = m_RequestQueue.front();
                *ppSample = front.sample.Get();
                *pdwUser = front.user;
                if (m_uncountedSamples)
                    uncounted = std::move(front.sample);
                else
                    static_cast<void>(front.sample.Detach());
                m_RequestQueue.pop_front();
                return S_OK;
            }
            if (m_bFlushing || flushes.value_or(m_flushCount) != m_flushCount)
                return VFW_E_WRONG_STATE;
            flushes = m_flushCount;
            changes = m_changed.Count();
        }
        if (!m_changed.WaitForMore(changes, remaining))
            return VFW_E_TIMEOUT;
        if (dwTimeout != INFINITE) {
            const ULONGLONG elapsed = ::GetTickCount64() - start;
            remaining = elapsed < dwTimeout ? dwTimeout - static_cast<DWORD>(elapsed) : 0;
        }
    }
}

STDMETHODIMP CCustomFileSourcePin::SetUncountedSamples(BOOL uncounted) {
    m_uncountedSamples = uncounted != FALSE;
    return S_OK;
}

STDMETHODIMP CCustomFileSourcePin::GetUncountedSamples(BOOL* uncounted) {
    if (!uncounted)
        return E_POINTER;
    *uncounted = m_uncountedSamples;
    return S_OK;
}

// The lock may be held by a read, which ends because reads are given up before. Under the lock that is said once more:
// an EndFlush on another thread may have come in between, and the last of the two must be right about both.
STDMETHODIMP CCustomFileSourcePin::BeginFlush() {
    m_waits.SetFlushing(true);
    CAutoLock queueLock(&m_QueueLock);
    m_waits.SetFlushing(true);
    m_bFlushing = true;
    ++m_flushCount;
    m_changed.Raise();
    return S_OK;
}

STDMETHODIMP CCustomFileSourcePin::EndFlush() {
    CAutoLock queueLock(&m_QueueLock);
    m_waits.SetFlushing(false);
    m_bFlushing = false;
    return S_OK;
}
