// What this process holds, to be compared before and after many turns of the same work: a leak shows many times.
//
// Threads: any.
#pragma once

#include <windows.h>

// Private memory that is committed, in bytes. Counted by hand: not every platform reports it.
inline LONGLONG PrivateBytes() {
    LONGLONG total = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (const BYTE* at = nullptr; ::VirtualQuery(at, &region, sizeof(region)) != 0;) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE)
            total += static_cast<LONGLONG>(region.RegionSize);
        at = static_cast<const BYTE*>(region.BaseAddress) + region.RegionSize;
        if (at <= static_cast<const BYTE*>(region.BaseAddress))
            break;  // the end of the address space
    }
    return total;
}

// Blocks that are allocated in the process's heap, where those of C++ are, too.
inline int HeapBlocks() {
    int count = 0;
    const HANDLE heap = ::GetProcessHeap();
    PROCESS_HEAP_ENTRY entry{};
    ::HeapLock(heap);
    while (::HeapWalk(heap, &entry))
        count += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0;
    ::HeapUnlock(heap);
    return count;
}

// Handles that are open.
inline int Handles() {
    int count = 0;
    DWORD flags = 0;
    for (ULONG_PTR value = 4; value < 0x8000; value += 4)
        count += ::GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != 0;
    return count;
}
