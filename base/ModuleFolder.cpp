#include "base/ModuleFolder.h"

#include "base/AskForPath.h"
#include "base/CAutoDestructor.h"

#include <memory>
#include <new>

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

struct EndOfThread {
    HMODULE module;
    CAutoHandle thread;
};

constexpr DWORD kLastStepsMs = 60'000;

// A thread of the system's pool, which has nothing of the module's to clean up.
void CALLBACK AwaitEndOfThread(PTP_CALLBACK_INSTANCE instance, void* context) noexcept {
    const std::unique_ptr<EndOfThread> end(static_cast<EndOfThread*>(context));
    if (::WaitForSingleObject(end->thread.Get(), kLastStepsMs) == WAIT_OBJECT_0)
        ::FreeLibraryWhenCallbackReturns(instance, end->module);
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

void FreeModuleAfterThread(HMODULE module) noexcept {
    const HANDLE process = ::GetCurrentProcess();
    std::unique_ptr<EndOfThread> end(new (std::nothrow) EndOfThread{module, {}});
    if (end && ::DuplicateHandle(process, ::GetCurrentThread(), process, end->thread.Put(), SYNCHRONIZE, FALSE, 0) &&
        ::TrySubmitThreadpoolCallback(&AwaitEndOfThread, end.get(), nullptr))
        static_cast<void>(end.release());
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
