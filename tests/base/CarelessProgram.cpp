// Loads a library by its bare name, or writes behind a buffer. Exit code 0: it got away with it. With --guard, a part
// of what stands behind the buffers of this run.
#include "base/LateLoad.h"

#include <cstdint>
#include <cwchar>

namespace {

// Not inlined, so that the buffer is in a frame of its own; through a volatile pointer, so that every write is made.
// No compiler may know the count: one that does leaves the protection out.
[[gnu::noinline]] int WriteBehindTheBuffer(int count) {
    char buffer[16]{};
    volatile char* const out = buffer;
    for (int i = 0; i < count; ++i)
        out[i] = 'x';
    return buffer[0] != 'x';
}

}  // namespace

extern "C" std::uintptr_t __stack_chk_guard;

int wmain(int count, wchar_t** words) {
    if (count == 3 && std::wcscmp(words[1], L"--overrun") == 0)
        return WriteBehindTheBuffer(::_wtoi(words[2]));
    if (count == 2 && std::wcscmp(words[1], L"--guard") == 0)
        return static_cast<int>(__stack_chk_guard >> 8 & 0xFFFFFF);
    if (count == 3 && std::wcscmp(words[1], L"--safely") == 0) {
        base::SearchLibrariesSafely();
        return ::LoadLibraryW(words[2]) ? 0 : 1;
    }
    return count == 2 && ::LoadLibraryW(words[1]) ? 0 : 1;
}
