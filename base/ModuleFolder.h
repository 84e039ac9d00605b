// The folder of the DLL or program that a piece of code or constant data belongs to.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <windows.h>

#include <string>

namespace base {

// The folder of the module that has `address` inside it, with a trailing backslash; empty when it can't be found out.
// Paths of any length.
[[nodiscard]] std::wstring ModuleFolder(const void* address);

// The module that this library is linked into, and its folder.
[[nodiscard]] HMODULE OwnModule() noexcept;
[[nodiscard]] std::wstring OwnModuleFolder();

}  // namespace base
