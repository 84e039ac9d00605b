#include "base/ModuleFolder.h"

#include "base/AskForPath.h"

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

std::wstring ModulePath(HMODULE module) {
    return AskForPath([&](wchar_t* buffer, DWORD size) { return ::GetModuleFileNameW(module, buffer, size); });
}

HMODULE OwnModule() noexcept {
    return ModuleOf(&kInOwnModule);
}

HMODULE AddReferenceToOwnModule() noexcept {
    HMODULE module = nullptr;
    return ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&kInOwnModule),
                                &module)
               ? module
               : nullptr;
}

std::wstring OwnModuleFolder() {
    return ModuleFolder(&kInOwnModule);
}

std::wstring ModuleFolder(const void* address) {
    const HMODULE module = ModuleOf(address);
    if (!module)
        return {};
    const std::wstring path = ModulePath(module);
    const std::size_t end = path.find_last_of(L"\\/");
    return end == std::wstring::npos ? std::wstring{} : path.substr(0, end + 1);
}

}  // namespace base
