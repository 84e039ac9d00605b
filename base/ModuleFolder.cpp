#include "base/ModuleFolder.h"

namespace base {

namespace {

constexpr int kInOwnModule = 0;

HMODULE ModuleOf(const void* address) noexcept {
    HMODULE module = nullptr;
    return ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                static_cast<LPCWSTR>(address), &module)
               ? module
               : nullptr;
}

}  // namespace

HMODULE OwnModule() noexcept {
    return ModuleOf(&kInOwnModule);
}

std::wstring OwnModuleFolder() {
    return ModuleFolder(&kInOwnModule);
}

std::wstring ModuleFolder(const void* address) {
    const HMODULE module = ModuleOf(address);
    if (!module)
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

}  // namespace base
