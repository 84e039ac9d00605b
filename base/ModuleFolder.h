// The files and folders of DLLs and of the program.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <windows.h>

#include <string>

namespace base {

// The full path of the module's file; null is the program. Empty: it can't be found out; GetLastError says why. Paths
// of any length.
[[nodiscard]] std::wstring ModulePath(HMODULE module);

// The folder of the module that has `address` inside it, with a trailing backslash; empty when it can't be found out.
// Paths of any length.
[[nodiscard]] std::wstring ModuleFolder(const void* address);

// The module that this library is linked into, and its folder.
[[nodiscard]] HMODULE OwnModule() noexcept;
// The same with one more reference, which keeps it loaded until FreeLibrary. Null: it can't be had.
[[nodiscard]] HMODULE AddReferenceToOwnModule() noexcept;
[[nodiscard]] std::wstring OwnModuleFolder();

// Gives such a reference back when the calling thread has ended, so that it may be the last one: for the thread's last
// step. The thread returns as usual, with the module's own clean-up. Where memory is out, the module stays loaded.
void FreeModuleAfterThread(HMODULE module) noexcept;

}  // namespace base
