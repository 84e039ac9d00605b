#include "threading/ThreadName.h"

#include <windows.h>

#include <iterator>

namespace threading {

namespace {

// Debuggers know a thread's name from an exception with this code and four argument words.
constexpr DWORD kThreadNameException = 0x406D1388;

constexpr ULONG_PTR kThreadNameRecord = 0x1000;

LONG CALLBACK IgnoreThreadNameException(EXCEPTION_POINTERS* exception) noexcept {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    return record.ExceptionCode == kThreadNameException && record.NumberParameters == 4 &&
                   record.ExceptionInformation[0] == kThreadNameRecord
               ? EXCEPTION_CONTINUE_EXECUTION
               : EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void AnnounceThreadName(const char* name) noexcept {
    // The compiler has no frame-based handlers. A vectored one is asked on every thread. If another thread announces
    // its name right now, this handler ignores that exception in place of the other thread's own handler; the effect is
    // the same. The handler keeps clear of thread-local variables: the compiler's own take a lock on first use. It is
    // last in the list, as a frame's handler would be.
    void* const handler = ::AddVectoredExceptionHandler(0, IgnoreThreadNameException);
    if (!handler)
        return;  // the exception would end the process
    const ULONG_PTR arguments[] = {kThreadNameRecord, reinterpret_cast<ULONG_PTR>(name),
                                   0xFFFFFFFF /* the calling thread */, 0};
    ::RaiseException(kThreadNameException, 0, static_cast<DWORD>(std::size(arguments)), arguments);
    ::RemoveVectoredExceptionHandler(handler);
}

}  // namespace threading
