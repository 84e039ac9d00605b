// Text in task memory: owned, and handed out through COM interfaces.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <memory>

struct CTaskMemoryCloser {
    void operator()(void* memory) const noexcept { ::CoTaskMemFree(memory); }
};

using CTaskText = std::unique_ptr<wchar_t, CTaskMemoryCloser>;

// A copy of `text`, of empty text if it is null. Null if there is no memory.
[[nodiscard]] CTaskText CopyTaskText(const wchar_t* text) noexcept;
