#include "dataservices/shares/CShareFile.h"

namespace dataservices::shares {

bool CShareFile::Enter() noexcept {
    const std::lock_guard guard(m_lock);
    if (std::exchange(m_isAborted, false) || m_isReleased)
        return false;
    if (m_threadId != ::GetCurrentThreadId()) {
        m_threadId = ::GetCurrentThreadId();
        m_thread.Reset(::OpenThread(THREAD_TERMINATE, FALSE, m_threadId));  // the right to break off its calls
    }
    m_isRunning = true;
    return true;
}

void CShareFile::Leave() noexcept {
    File closing;
    const std::lock_guard guard(m_lock);
    m_isRunning = false;
    if (m_isReleased)
        closing.Swap(m_file);
}

void CShareFile::Abort() noexcept {
    const std::lock_guard guard(m_lock);
    m_isAborted = true;
    BreakOff();
}

void CShareFile::Release() noexcept {
    File closing;
    const std::lock_guard guard(m_lock);
    m_isReleased = true;
    BreakOff();
    if (!m_isRunning)
        closing.Swap(m_file);
}

// What the platform can't break off goes on, and nobody waits for it.
void CShareFile::BreakOff() noexcept {
    if (m_isRunning && m_thread)
        ::CancelSynchronousIo(m_thread.Get());
}

}  // namespace dataservices::shares
