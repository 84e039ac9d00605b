// Text in a code page, and back, both with a zero at the end.
//
// 0 (CP_ACP) is the system's ANSI code page, 3 (CP_THREAD_ACP) the thread's, 65001 (CP_UTF8) UTF-8. What the code page
// can't spell is replaced by what the platform has for it.
// Threads: any.  Errors: CAtlException carrying E_OUTOFMEMORY when the text can't be made.
#pragma once

#include "base/CAtlException.h"

#include <windows.h>

#include <memory>
#include <new>

namespace base {

template <class Char>
[[nodiscard]] std::unique_ptr<Char[]> AllocateText(std::size_t characters) {
    std::unique_ptr<Char[]> text(new (std::nothrow) Char[characters]);
    if (!text)
        throw CAtlException(E_OUTOFMEMORY);
    return text;
}

[[nodiscard]] std::unique_ptr<char[]> NarrowOfWide(UINT codePage, const wchar_t* text);
[[nodiscard]] std::unique_ptr<wchar_t[]> WideOfNarrow(UINT codePage, const char* text);

}  // namespace base
