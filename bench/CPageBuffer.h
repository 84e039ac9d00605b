// Memory to read into that begins with a page. A block of the heap begins at a random place, and the system copies a
// file's bytes to some places half again as fast as to others. That must not decide between contenders.
#pragma once

#include "bench/BenchCheck.h"

#include <windows.h>

namespace bench {

class CPageBuffer final {
public:
    explicit CPageBuffer(SIZE_T bytes)
        : m_memory(::VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE)) {
        CheckWin32(m_memory != nullptr, "VirtualAlloc");
    }
    CPageBuffer(const CPageBuffer&) = delete;
    CPageBuffer& operator=(const CPageBuffer&) = delete;
    ~CPageBuffer() { ::VirtualFree(m_memory, 0, MEM_RELEASE); }

    [[nodiscard]] BYTE* Get() const noexcept { return static_cast<BYTE*>(m_memory); }

private:
    void* const m_memory;
};

}  // namespace bench
