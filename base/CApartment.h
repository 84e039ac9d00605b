// A thread's stay in a COM apartment, from here to the end of the block.
//
// Declare it before everything that is made in the apartment, so that all of that is gone when the thread leaves.
// Errors: see Result; a thread that couldn't enter has nothing to leave.
#pragma once

#include <windows.h>

#include <objbase.h>

namespace base {

class CApartment final {
public:
    // `kind`: flags for CoInitializeEx.
    explicit CApartment(DWORD kind) noexcept : m_result(::CoInitializeEx(nullptr, kind)) {}
    CApartment(const CApartment&) = delete;
    CApartment& operator=(const CApartment&) = delete;
    ~CApartment() {
        if (SUCCEEDED(m_result))  // S_FALSE, entered already, has to be undone as well
            ::CoUninitialize();
    }

    // S_FALSE: the thread was in the apartment already.  RPC_E_CHANGED_MODE: it is in an apartment of another kind.
    [[nodiscard]] HRESULT Result() const noexcept { return m_result; }

private:
    const HRESULT m_result;
};

}  // namespace base
