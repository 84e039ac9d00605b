#include "threading/CDoorbell.h"

#include <objbase.h>

namespace threading {

void CDoorbell::Await() noexcept {
    HANDLE event = m_event.Get();
    DWORD index = 0;
    // In a single-threaded apartment this dispatches messages. It fails where there is no apartment.
    if (FAILED(::CoWaitForMultipleHandles(COWAIT_DEFAULT, INFINITE, 1, &event, &index)))
        ::WaitForSingleObject(event, INFINITE);
}

}  // namespace threading
