// Does something on a thread of its own when the object lives longer than it should: says that people have to wait, or
// ends the process.
//
// Threads: made and destroyed by one.  Lifetime: the destructor waits for the call if it has begun.
// Errors: none; where there is no memory or no thread for it, nothing is called.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

#include <thread>

namespace tvsource {

class CLateCall final {
public:
    // `over` is signalled when the object is about to go. The call must not throw.
    using Function = void (*)(HANDLE over);

    // Without a function nothing is ever called.
    CLateCall(DWORD afterMs, Function late) noexcept;
    CLateCall(const CLateCall&) = delete;
    CLateCall& operator=(const CLateCall&) = delete;
    ~CLateCall();

private:
    const base::CAutoHandle m_over{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::thread m_thread;
};

}  // namespace tvsource
