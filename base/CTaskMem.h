// Owns one block of the COM task allocator, the memory in which names cross a COM boundary.
//
// Threads: as for a plain value.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <limits>
#include <string_view>
#include <utility>

namespace base {

template <class T>
class CTaskMem final {
public:
    CTaskMem() noexcept = default;
    explicit CTaskMem(T* memory) noexcept : m_memory(memory) {}
    CTaskMem(CTaskMem&& other) noexcept : m_memory(other.Detach()) {}
    CTaskMem& operator=(CTaskMem&& other) noexcept {
        Reset(other.Detach());
        return *this;
    }
    CTaskMem(const CTaskMem&) = delete;
    CTaskMem& operator=(const CTaskMem&) = delete;
    ~CTaskMem() { Reset(); }

    [[nodiscard]] T* Get() const noexcept { return m_memory; }
    explicit operator bool() const noexcept { return m_memory != nullptr; }

    // Frees what is held and takes over `memory`.
    void Reset(T* memory = nullptr) noexcept { ::CoTaskMemFree(std::exchange(m_memory, memory)); }

    // Gives the block up to the caller.
    [[nodiscard]] T* Detach() noexcept { return std::exchange(m_memory, nullptr); }

    // Where a call puts a new block; frees the old one first.
    [[nodiscard]] T** Put() noexcept {
        Reset();
        return &m_memory;
    }

private:
    T* m_memory = nullptr;
};

// A zero-terminated copy of `text` from the task allocator; empty when there is no memory for it.
[[nodiscard]] inline CTaskMem<wchar_t> TaskMemCopyOf(std::wstring_view text) noexcept {
    if (text.size() >= std::numeric_limits<SIZE_T>::max() / sizeof(wchar_t))
        return {};
    CTaskMem<wchar_t> copy(static_cast<wchar_t*>(::CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t))));
    if (copy) {
        text.copy(copy.Get(), text.size());
        copy.Get()[text.size()] = L'\0';
    }
    return copy;
}

}  // namespace base
