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

// What the thread stands on; it is there until the thread was joined, or, where that was left behind, has ended.
struct CWorkerThread::Life final : IThreadRunnable {
    enum class State { Running, Ended, LeftBehind };

    Life(const Body& work, DWORD apartment) : body(work), inApartment(this, &Life::Work, apartment) {}
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;
    ~Life() override {
        if (!thread.Join(0) && thread.GetHandle())
            ::CloseHandle(thread.GetHandle());  // it is the thread itself that is at its end
    }

    HRESULT Work() {
        RunBody(S_OK);
        return S_OK;
    }

    void RunBody(HRESULT apartment) {
        body(apartment);
        body.clear();
        hasRunBody = true;
    }

    // IThreadRunnable
    int Run() override {
        threadId = ::GetCurrentThreadId();
        if (const HRESULT hr = inApartment.Run(); !hasRunBody)
            RunBody(hr);
        threadId = 0;  // the system may give the number to another thread
        if (state.exchange(State::Ended) == State::LeftBehind)
            EndLeftBehind();
        return 0;
    }

    void EndLeftBehind() noexcept {
        base::FreeModuleAfterThread(module.Detach());
        itself.reset();  // this
    }

    // Given back last: the last steps of the thread are this module's code, too.
    base::CAutoLibrary module{base::AddReferenceToOwnModule()};
    Body body;
    bool hasRunBody = false;
    std::atomic<DWORD> threadId = 0;
    std::atomic<State> state = State::Running;
    CComThreadRunnableAdapter<Life> inApartment;
    CRunnableThread thread;
    boost::shared_ptr<Life> itself;  // of a thread that was left behind
};

CWorkerThread::CWorkerThread(const char* name, DWORD apartment) noexcept : m_name(name), m_apartment(apartment) {}

CWorkerThread::~CWorkerThread() {
    if (!m_life)
        return;
    m_life->itself = m_life;
    if (m_life->state.exchange(Life::State::LeftBehind) == Life::State::Running)
        return;
    // It is past the point where it would have cleaned up.
    if (::WaitForSingleObject(m_life->thread.GetHandle(), kPatienceMs) == WAIT_OBJECT_0)
        m_life->itself.reset();
}

bool CWorkerThread::Start(const Body& body) noexcept {
    if (Current())
        return false;
    bool hasStarted = false;
    base::RunQuietly([&] {
        const auto life = boost::make_shared<Life>(body, m_apartment);
        life->thread.Init(life.get(), m_name, 0);
        Become(life);  // before the thread asks whether it is this one
        hasStarted = life->module && life->thread.Start();
    });
    if (!hasStarted)
        Become(nullptr);
    return hasStarted;
}

bool CWorkerThread::Join(DWORD timeoutMs) noexcept {
    const boost::shared_ptr<Life> life = Current();
    if (!life)
        return true;
    if (life->threadId == ::GetCurrentThreadId())
        return false;
    // The handle is open as long as somebody who waits for it keeps the life.
    if (::WaitForSingleObject(life->thread.GetHandle(), timeoutMs) != WAIT_OBJECT_0)
        return false;
    Become(nullptr);
    return true;
}

HANDLE CWorkerThread::GetHandle() const noexcept {
    const boost::shared_ptr<Life> life = Current();
    return life ? life->thread.GetHandle() : nullptr;
}

bool CWorkerThread::IsCurrent() const noexcept {
    const boost::shared_ptr<Life> life = Current();
    return life && life->threadId == ::GetCurrentThreadId();
}

void CWorkerThread::Become(boost::shared_ptr<Life> life) noexcept {
    const std::lock_guard guard(m_lock);
    m_life.swap(life);
}

boost::shared_ptr<CWorkerThread::Life> CWorkerThread::Current() const noexcept {
    const std::lock_guard guard(m_lock);
    return m_life;
}

}  // namespace threading
