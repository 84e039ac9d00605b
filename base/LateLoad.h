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

}  // namespace base
