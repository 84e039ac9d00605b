// Texts that are compiled into the program as resources (tvsource.rc).
//
// Threads: any.
#pragma once

#include <windows.h>

#include <string_view>

namespace tvsource {

// UTF-8; empty when there is none of that name. The resource lies in the program's file, which stays loaded.
[[nodiscard]] inline std::string_view OwnText(const wchar_t* name) noexcept {
    const HRSRC found = ::FindResourceW(nullptr, name, RT_RCDATA);
    const HGLOBAL loaded = found ? ::LoadResource(nullptr, found) : nullptr;
    const void* const bytes = loaded ? ::LockResource(loaded) : nullptr;
    return bytes ? std::string_view(static_cast<const char*>(bytes), ::SizeofResource(nullptr, found)) : "";
}

}  // namespace tvsource
