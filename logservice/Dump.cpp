#include "logservice/Dump.h"

#include "base/LateLoad.h"
#include "base/LongPath.h"
#include "console/COutputFile.h"

#include <dbghelp.h>

namespace logservice {

namespace {

using MiniDumpWriteDumpFunction = decltype(&::MiniDumpWriteDump);

HRESULT LastError() noexcept {
    const DWORD error = ::GetLastError();
    // The debug-help library leaves result codes there.
    return FAILED(static_cast<HRESULT>(error)) ? static_cast<HRESULT>(error)
                                               : HRESULT_FROM_WIN32(error ? error : ERROR_GEN_FAILURE);
}

}  // namespace

HRESULT WriteDump(DWORD processId, const std::wstring& path, const std::function<bool()>& keep) {
    const base::CAutoLibrary library = base::LateLoadSystem(L"dbghelp.dll");
    const auto write = base::ExportOf<MiniDumpWriteDumpFunction>(library, "MiniDumpWriteDump");
    if (!write)
        return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    const base::CAutoHandle process(
        ::OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ | PROCESS_DUP_HANDLE, FALSE, processId));
    if (!process)
        return LastError();
    const std::wstring openable = base::OpenablePath(base::FullPathOf(path));
    base::CAutoHandle file(::CreateFileW(openable.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_READ,
                                         nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
        return LastError();
    constexpr auto kWhat =
        static_cast<MINIDUMP_TYPE>(MiniDumpWithHandleData | MiniDumpWithThreadInfo | MiniDumpWithUnloadedModules);
    console::GoWhenClosed(file.Get(), true);
    HRESULT hr = S_OK;
    if (!write(process.Get(), processId, file.Get(), kWhat, nullptr, nullptr, nullptr))
        hr = LastError();
    else if (!keep())
        hr = HRESULT_FROM_WIN32(ERROR_CANCELLED);
    else if (!console::GoWhenClosed(file.Get(), false))
        hr = LastError();
    if (SUCCEEDED(hr))
        return hr;
    file.Reset();
    ::DeleteFileW(openable.c_str());
    return hr;
}

}  // namespace logservice
