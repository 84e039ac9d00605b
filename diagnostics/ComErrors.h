// Reporting a failure code together with its text. Texts come from the framework's table, and are empty for codes that
// are not in it.
//
//   return ReportComError(hr, __uuidof(ITKCFPropertySet));    // at a COM boundary
//   ThrowComError(hr);                                        // inside
//
// Threads: any; an error info object is installed for the calling thread.
// Errors: out of memory is std::bad_alloc.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <string>

// Throws CComException with the text, and neither help nor source.
[[noreturn]] void ThrowComError(HRESULT hr);

// Installs an error info object with the text for the caller of interface `iid` to fetch. Returns `hr`.
HRESULT ReportComError(HRESULT hr, REFIID iid);

// The same for IDispatch.
HRESULT ReportComError(HRESULT hr);

// Installs an error info object with these details; texts may be null. Returns `hr`, whether or not the object could be
// installed: the caller reports its own failure, and no other one replaces it.
HRESULT SetComErrorInfo(HRESULT hr, REFIID iid, const wchar_t* description, DWORD helpContext, const wchar_t* helpFile,
                        const wchar_t* source) noexcept;

namespace TKRuntimeLogger {

// Whether the framework's table has a text for `hr`. The platform uses these numbers, too: ask for codes of the
// framework's own only.
[[nodiscard]] bool IsFrameworkError(HRESULT hr);

// A text for a failure that came with `errorInfo`, which may be null: the framework's, if the error info has it too and
// so says whose code it is; else the system's (HResultText).
[[nodiscard]] std::wstring ComErrorText(HRESULT hr, IErrorInfo* errorInfo);

}  // namespace TKRuntimeLogger
