#include "base/LateLoad.h"

#include "base/ModuleFolder.h"

#include <cwchar>
#include <string>
#include <utility>

namespace base {

namespace {

// With a backslash at its end; empty when it can't be found out.
std::wstring SystemFolder() {
    std::wstring folder(::GetSystemDirectoryW(nullptr, 0), L'\0');
    folder.resize(::GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size())));
    return folder.empty() ? folder : folder + L'\\';
}

CAutoLibrary LoadFrom(const std::wstring& folder, const wchar_t* name) {
    if (folder.empty())
        return {};
    return CAutoLibrary(::LoadLibraryExW((folder + name).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
}

bool IsFullPath(const wchar_t* path) noexcept {
    return path[0] == L'\\' ? path[1] == L'\\' : path[0] && path[1] == L':' && path[2] == L'\\';
}

}  // namespace

CAutoLibrary LateLoad(const wchar_t* library) noexcept {
    const bool isBare = !std::wcspbrk(library, L"\\/:");
    if (!isBare && !IsFullPath(library)) {
        ::SetLastError(ERROR_BAD_PATHNAME);
        return {};
    }
    const DWORD besideIt = isBare ? 0 : LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR;
    CAutoLibrary loaded(::LoadLibraryExW(library, nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS | besideIt));
    if (loaded || ::GetLastError() != ERROR_INVALID_PARAMETER)
        return loaded;
    // A Windows 7 without its updates knows none of these flags.
    if (!isBare)
        return CAutoLibrary(::LoadLibraryExW(library, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    try {
        loaded = LoadFrom(ModuleFolder(::GetModuleHandleW(nullptr)), library);
        return loaded ? std::move(loaded) : LoadFrom(SystemFolder(), library);
    } catch (...) {
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return {};
    }
}

CAutoLibrary LateLoadSystem(const wchar_t* name) noexcept {
    CAutoLibrary loaded(::LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
    if (loaded || ::GetLastError() != ERROR_INVALID_PARAMETER)
        return loaded;
    try {
        return LoadFrom(SystemFolder(), name);
    } catch (...) {
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return {};
    }
}

void SearchLibrariesSafely() noexcept {
    // SetDefaultDllDirectories may be missing, as in a Windows 7 without its updates; this one is always there.
    ::SetDllDirectoryW(L"");
    const CAutoLibrary kernel = LateLoadSystem(L"kernel32.dll");
    if (const auto set = ExportOf<BOOL(WINAPI*)(DWORD)>(kernel, "SetDefaultDllDirectories"))
        set(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
}

}  // namespace base
