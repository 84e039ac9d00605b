#include "threading/CDoorbell.h"

namespace threading {

void CDoorbell::Await() noexcept {
    HANDLE event = m_event.Get();
    DWORD woken = WAIT_FAILED;
    while (m_servesMessages && (woken = ::MsgWaitForMultipleObjectsEx(1, &event, INFINITE, QS_ALLINPUT,
                                                                      MWMO_INPUTAVAILABLE)) == WAIT_OBJECT_0 + 1)
        ServeMessages();
    if (woken != WAIT_OBJECT_0)
        ::WaitForSingleObject(event, INFINITE);
}

void CDoorbell::ServeMessages() noexcept {
    MSG message{};
    while (m_servesMessages && ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

}  // namespace threading
