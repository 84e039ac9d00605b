#include "threading/ThreadName.h"

#include <windows.h>

#include <iterator>

namespace {

// Debuggers know a thread's name from an exception with this code and four argument words.
constexpr DWORD kThreadNameException = 0x406D1388;

thread_local bool t_announcing = false;

LONG CALLBACK IgnoreThreadNameException(EXCEPTION_POINTERS* exception) noexcept {
    // The code first: a thread whose stack or heap has failed must not be sent to thread-local storage here.
    return exception->ExceptionRecord->ExceptionCode == kThreadNameException && t_announcing
               ? EXCEPTION_CONTINUE_EXECUTION
               : EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void AnnounceThreadName(const char* name) noexcept {
    // The compiler has no frame-based handlers. A vectored one is asked on every thread, so it answers for its own
    // thread only; it is last in the list, as a frame's handler would be.
    void* const handler = ::AddVectoredExceptionHandler(0, IgnoreThreadNameException);
    if (!handler)
        return;  // the exception would end the process
    const ULONG_PTR arguments[] = {0x1000, reinterpret_cast<ULONG_PTR>(name), 0xFFFFFFFF /* the calling thread */, 0};
    t_announcing = true;
    ::RaiseException(kThreadNameException, 0, static_cast<DWORD>(std::size(arguments)), arguments);
    t_announcing = false;
    ::RemoveVectoredExceptionHandler(handler);
}
