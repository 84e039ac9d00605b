// The DLL's own pthread_once, which the linker puts in place of the thread library's.
//
// On x86, GCC's run-time library calls pthread_once whenever a module is loaded. The thread library's version then
// registers the loading thread. That takes a TLS slot and two handles, which are given back only when the process ends.
// This DLL is loaded and freed for each detection, and a process has 1,088 slots.

#include <windows.h>

extern "C" int __wrap_pthread_once(long* state, void (*initialize)());

extern "C" int __wrap_pthread_once(long* state, void (*initialize)()) {
    enum : long { New, Running, Done };  // New is the value of a state that is initialised statically
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
