// Loads libraries at run time, from where they belong and from nowhere else: never from the current folder, in which a
// stranger may have put one of the same name.
//
// Threads: any.  Errors: no library; GetLastError says why.
#pragma once

#include "base/CAutoDestructor.h"

namespace base {

// `library` is a bare name or a full path. A bare name is looked for in the application's and the system's folders.
// With a full path, the libraries that it needs itself are looked for beside it as well. A relative path isn't found.
[[nodiscard]] CAutoLibrary LateLoad(const wchar_t* library) noexcept;

// A library of the system's own, by its bare name: not even the application's folder may have another one.
[[nodiscard]] CAutoLibrary LateLoadSystem(const wchar_t* name) noexcept;

// For the first line of a program: from here on nothing that runs in it, not the system and no other component either,
// finds a library by its bare name in the current folder or in those of the environment's PATH. Components have their
// own folder, the application's and the system's.
void SearchLibrariesSafely() noexcept;

// The function of that name, as the function pointer type `Function`; null: there is no library, or it has none.
template <class Function>
[[nodiscard]] Function ExportOf(const CAutoLibrary& library, const char* name) noexcept {
    // By way of void*, because FARPROC and the real type have nothing in common that the compiler could check.
    return library ? reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library.Get(), name)))
                   : nullptr;
}

}  // namespace base
