#include "filter/ModuleFolder.h"

#include <windows.h>

std::wstring ModuleFolder() {
    HMODULE module = nullptr;
    // Any address inside the module names it.
    if (!::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              reinterpret_cast<LPCWSTR>(&ModuleFolder), &module))
        return {};
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = ::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0)
            return {};
        if (length < path.size()) {
            path.resize(length);
            break;
        }
        path.resize(path.size() * 2);
    }
    const std::size_t end = path.find_last_of(L"\\/");
    return end == std::wstring::npos ? std::wstring{} : path.substr(0, end + 1);
}
