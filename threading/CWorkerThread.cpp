#include "threading/CWorkerThread.h"

#include "base/CAutoDestructor.h"
#include "base/ComBoundary.h"
#include "base/ModuleFolder.h"
#include "threading/CComThreadRunnableAdapter.h"
#include "threading/CRunnableThread.h"

#include <boost/make_shared.hpp>

#include <atomic>
#include <mutex>

namespace threading {

// What the thread stands on; it is there until the thread was joined.
struct CWorkerThread::Run {
    Run(const boost::function<void()>& work, DWORD apartment) : body(work), runnable(this, &Run::Work, apartment) {}
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run() { thread.Join(0); }  // it has ended, if it ever began; this closes its handle

    HRESULT Work() {
        threadId = ::GetCurrentThreadId();
        body();
        body.clear();  // within the apartment
        threadId = 0;  // the system may give the number to another thread
        return S_OK;
    }

    // Given back last: the last steps of the thread are this module's code, too.
    const base::CAutoLibrary module{base::AddReferenceToOwnModule()};
    boost::function<void()> body;
    std::atomic<DWORD> threadId = 0;
    CComThreadRunnableAdapter<Run> runnable;
    CRunnableThread thread;
    boost::shared_ptr<Run> itself;  // of a thread that was left behind
};

CWorkerThread::CWorkerThread(const char* name, DWORD apartment) noexcept : m_name(name), m_apartment(apartment) {}

CWorkerThread::~CWorkerThread() {
    // A thread that is left behind keeps what it stands on, for good. Nothing has to be allocated for that.
    if (m_run)
        m_run->itself = m_run;
}

bool CWorkerThread::Start(const boost::function<void()>& body) noexcept {
    const std::lock_guard guard(m_lock);
    if (m_run)
        return false;
    base::RunQuietly([&] {
        auto run = boost::make_shared<Run>(body, m_apartment);
        run->thread.Init(&run->runnable, m_name, 0);
        if (run->module && run->thread.Start())
            m_run = std::move(run);
    });
    return m_run != nullptr;
}

bool CWorkerThread::Join(DWORD timeoutMs) noexcept {
    const boost::shared_ptr<Run> run = Current();
    if (!run)
        return true;
    if (run->threadId == ::GetCurrentThreadId())
        return false;
    // The handle is open as long as somebody who waits for it keeps the run.
    if (::WaitForSingleObject(run->thread.GetHandle(), timeoutMs) != WAIT_OBJECT_0)
        return false;
    const std::lock_guard guard(m_lock);
    m_run.reset();
    return true;
}

bool CWorkerThread::IsCurrent() const noexcept {
    const boost::shared_ptr<Run> run = Current();
    return run && run->threadId == ::GetCurrentThreadId();
}

boost::shared_ptr<CWorkerThread::Run> CWorkerThread::Current() const noexcept {
    const std::lock_guard guard(m_lock);
    return m_run;
}

}  // namespace threading
