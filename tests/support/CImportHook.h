// Puts a function of the test's in the place of one that this program imports from a DLL, while the object lives: to
// learn that a thread has got to a call, or to make the call fail.
//
//   BOOL WINAPI FailingSetEvent(HANDLE) { return FALSE; }
//   const CImportHook hook("SetEvent", &FailingSetEvent);
//   ASSERT_TRUE(hook.IsSet());
//
// All code of the program is affected, also the test's own. DLLs are not.
// Threads: no other thread may be about to make the call when a hook comes or goes.
#pragma once

#include <windows.h>

class CImportHook final {
public:
    template <class Function>
    CImportHook(const char* name, Function* replacement) : CImportHook(name, reinterpret_cast<void*>(replacement), 0) {}
    CImportHook(const CImportHook&) = delete;
    CImportHook& operator=(const CImportHook&) = delete;
    ~CImportHook();

    // False: the program imports no function of this name.
    [[nodiscard]] bool IsSet() const noexcept { return m_slot != nullptr; }

private:
    CImportHook(const char* name, void* replacement, int);
    void Write(void* function) noexcept;

    void** m_slot = nullptr;
    void* m_original = nullptr;
};
