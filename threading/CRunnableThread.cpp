#include "threading/CRunnableThread.h"

#include "threading/ThreadName.h"

#include <process.h>

void CRunnableThread::Init(IThreadRunnable* runnable, const char* name, unsigned stackSize) noexcept {
    m_handle = nullptr;
    m_threadId = 0;
    m_runnable = runnable;
    m_name = name;
    m_exitCode = 0;
    m_lastError = 0;
    m_stackSize = stackSize;
}

bool CRunnableThread::Start() noexcept {
    if (m_handle)
        return false;
    m_handle = reinterpret_cast<HANDLE>(::_beginthreadex(nullptr, m_stackSize, ThreadProc, this, 0, &m_threadId));
    if (!m_handle)
        m_lastError = ::GetLastError();
    return m_handle != nullptr;
}

bool CRunnableThread::Join(DWORD timeoutMs) noexcept {
    if (!m_handle)
        return false;
    if (::WaitForSingleObject(m_handle, timeoutMs) != WAIT_OBJECT_0) {
        m_lastError = ::GetLastError();
        return false;
    }
    ::GetExitCodeThread(m_handle, &m_exitCode);
    ::CloseHandle(m_handle);
    m_handle = nullptr;
    return true;
}

bool CRunnableThread::GetExitCode(DWORD* exitCode) const noexcept {
    if (m_handle)
        return false;
    *exitCode = m_exitCode;
    return true;
}

unsigned __stdcall CRunnableThread::ThreadProc(void* thread) {
    const CRunnableThread& self = *static_cast<CRunnableThread*>(thread);
    if (self.m_name)
        threading::AnnounceThreadName(self.m_name);
    return static_cast<unsigned>(self.m_runnable->Run());
}
