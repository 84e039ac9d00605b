// Crash dumps of other processes.
//
// Threads: any, one dump at a time for each process.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace logservice {

// Writes a minidump of the process, with its threads' stacks, modules and handles, to `path`, a new file. When all is
// written, `keep` is asked whether it may stay. On failure no file is left, nor by a service that ends meanwhile.
//
// HRESULT_FROM_WIN32(ERROR_CANCELLED): it may not.
// E_ACCESSDENIED: the process belongs to another user or has higher rights, which takes an administrator.
// HRESULT_FROM_WIN32(ERROR_INVALID_PARAMETER): there is no such process.  HRESULT_FROM_WIN32(ERROR_FILE_EXISTS): `path`
// is there.  HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND): the system has no debug-help library.
[[nodiscard]] HRESULT WriteDump(DWORD processId, const std::wstring& path, const std::function<bool()>& keep);

}  // namespace logservice
