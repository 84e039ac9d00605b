#pragma once

#include <cstdint>

// Zero: there is no thread.
std::uintptr_t _beginthreadex(void* security, unsigned stackSize, unsigned (*body)(void*), void* argument,
                              unsigned flags, unsigned* id);
