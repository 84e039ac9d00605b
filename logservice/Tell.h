// What the program says about itself, on standard error.
//
// Threads: one.  Errors: std::bad_alloc.
#pragma once

#include "console/CConsole.h"

#include <string>
#include <vector>

namespace logservice {

inline void Tell(const std::wstring& text) {
    console::Complain(L"TKRuntimeLogger: " + text + L"\n");
}

inline void Tell(const std::vector<std::wstring>& texts) {
    for (const std::wstring& text : texts)
        Tell(text);
}

}  // namespace logservice
