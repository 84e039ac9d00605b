#include "tvsource/CLateCall.h"

#include <system_error>

namespace tvsource {

CLateCall::CLateCall(DWORD afterMs, Function late) noexcept {
    if (!m_over || !late)
        return;
    try {
        m_thread = std::thread([over = m_over.Get(), afterMs, late] {
            if (::WaitForSingleObject(over, afterMs) == WAIT_TIMEOUT)
                late(over);
        });
    } catch (const std::exception&) {
        // The call was a nicety or a last resort: the program works without it.
    }
}

CLateCall::~CLateCall() {
    ::SetEvent(m_over.Get());
    if (m_thread.joinable())
        m_thread.join();
}

}  // namespace tvsource
