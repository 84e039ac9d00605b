#include "threading/CBoostThreadRunner.h"

CBoostThreadRunner::CBoostThreadRunner(const char* name) noexcept {
    m_thread.Init(this, name, 0);
}

bool CBoostThreadRunner::Start(const boost::function<int()>& callable) {
    if (m_thread.IsRunning())  // replacing the callable would pull it from under the thread that runs it
        return false;
    m_callable = callable;
    return m_thread.Start();
}

int CBoostThreadRunner::Run() {
    return m_callable();
}
