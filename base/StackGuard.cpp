// What functions with a stack protector need: the value that they put behind their buffers, and where they go when it
// has changed. The compiler's own library for this asks the cryptographic service for the value, which loads that
// service while a DLL of ours is being loaded, and tells of a changed one on a console.
//
// This file is compiled without the protector: the value changes in it.

#include <windows.h>

#include <cstdint>
#include <initializer_list>

extern "C" {
// Known to the compiler by these names. The value holds until the module's static objects are made, then MakeGuard's.
std::uintptr_t __stack_chk_guard = static_cast<std::uintptr_t>(0x5C3A'97E1'40D8'6B2FULL);
[[noreturn]] void __stack_chk_fail();
}

namespace {

// As hard to guess as the platform's own compilers make theirs: times, identifiers, and where modules and stack lie.
std::uintptr_t MakeGuard() noexcept {
    LARGE_INTEGER counter{};
    ::QueryPerformanceCounter(&counter);
    FILETIME time{};
    ::GetSystemTimeAsFileTime(&time);
    std::uint64_t mixed = reinterpret_cast<std::uintptr_t>(&counter) ^ reinterpret_cast<std::uintptr_t>(&MakeGuard);
    for (const std::uint64_t part : {static_cast<std::uint64_t>(counter.QuadPart), std::uint64_t{time.dwLowDateTime},
                                     std::uint64_t{::GetCurrentProcessId()} << 32 | ::GetCurrentThreadId()}) {
        mixed = (mixed ^ part) * 0xFF51AFD7ED558CCDULL;
        mixed ^= mixed >> 33;
    }
    // Text that runs over its buffer ends at a zero, so that it can't have put the whole value there.
    return static_cast<std::uintptr_t>(mixed) & ~std::uintptr_t{0xFF};
}

[[maybe_unused]] const bool g_isRandom = [] {
    __stack_chk_guard = MakeGuard();
    return true;
}();

}  // namespace

// The stack can't be trusted any more: no handler is asked and nothing is cleaned up.
void __stack_chk_fail() {
    EXCEPTION_RECORD record{};
    record.ExceptionCode = static_cast<DWORD>(STATUS_STACK_BUFFER_OVERRUN);
    record.ExceptionFlags = EXCEPTION_NONCONTINUABLE;
    ::RaiseFailFastException(&record, nullptr, FAIL_FAST_GENERATE_EXCEPTION_ADDRESS);
    ::TerminateProcess(::GetCurrentProcess(), record.ExceptionCode);
    for (;;) {
    }
}
