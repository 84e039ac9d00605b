// The DLL's own pthread_once, which the linker puts in place of the thread library's.
//
// On x86, GCC's run-time library calls it whenever a module is loaded, and the thread library's makes the loading
// thread one of its own for that: a TLS slot and two handles, which it gives back with the process only. This DLL is
// loaded and freed for each detection, and a process has 1,088 slots.

#include <windows.h>

extern "C" int __wrap_pthread_once(long* state, void (*initialize)());

extern "C" int __wrap_pthread_once(long* state, void (*initialize)()) {
    enum : long { New, Running, Done };  // New is what statically made states have
    for (;;) {
        const long found = ::InterlockedCompareExchange(state, Running, New);
        if (found == Done)
            return 0;
        if (found == New)
            break;
        ::Sleep(1);
    }
    try {
        initialize();
    } catch (...) {
        ::InterlockedExchange(state, New);
        throw;
    }
    ::InterlockedExchange(state, Done);
    return 0;
}
