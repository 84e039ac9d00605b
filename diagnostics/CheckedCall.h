// Checked calls and pointers: what fails is logged where it fails, with its source text, and the function is left.
//
//   HRESULT hr = S_OK;
//   TK_CHECK_RETVAL(kSource, L"CThing::Open", hr, ppStream);
//   TK_CHECK_CALL(kSource, L"CThing::Open", hr, pStream->Stat(&statstg,STATFLAG_NONAME));
//
// A call that throws fails with the result of its exception (ComBoundary) and is logged like any other.
//
// `hr` is the function's HRESULT variable; it is also what an exit-scope guard watches. The macros use `return hr`.
// The caller gets the result of the call in every case: out of memory loses no more than the record.
#pragma once

#include "base/ComBoundary.h"
#include "diagnostics/HResultText.h"
#include "diagnostics/LogTypes.h"

#include <functional>
#include <string>

namespace TKRuntimeLogger {

// Logs: ERROR: hr=0x%08X ("text of the code"), from call callText
using CodeText = std::function<std::wstring(HRESULT)>;
void LogFailedCall(const LogSource& source, LONG line, const wchar_t* function, HRESULT hr, const wchar_t* callText,
                   const CodeText& textOf = &HResultText) noexcept;

// Logs a fixed text at severity kError.
void LogError(const LogSource& source, LONG line, const wchar_t* function, const wchar_t* message) noexcept;

}  // namespace TKRuntimeLogger

// hr = (call); a failure is logged with the text of the call, and the function returns it.
#define TK_CHECK_CALL(source, function, hr, call) TK_CHECK_CALL_AS(source, function, hr, call, L"" #call)

// The same with a given text: code formatters change the blanks in source text, but people search for the log's texts.
#define TK_CHECK_CALL_AS(source, function, hr, call, text)                            \
    do {                                                                              \
        (hr) = base::ComBoundary([&]() -> HRESULT { return (call); });                \
        if (FAILED(hr)) {                                                             \
            ::TKRuntimeLogger::LogFailedCall(source, __LINE__, function, (hr), text); \
            return (hr);                                                              \
        }                                                                             \
    } while (false)

// A null pointer sets `hr` to E_POINTER, is logged by its name, and leaves the function.
#define TK_CHECK_POINTER(source, function, hr, pointer) \
    TK_CHECK_NOT_NULL(source, function, hr, pointer, L"ERROR: pointer " #pointer L" is null")

// The same for a pointer through which a result is returned.
#define TK_CHECK_RETVAL(source, function, hr, pointer) \
    TK_CHECK_NOT_NULL(source, function, hr, pointer, L"ERROR: retval pointer " #pointer L" is null")

// The building block of the two above.
#define TK_CHECK_NOT_NULL(source, function, hr, pointer, text)             \
    do {                                                                   \
        if (!(pointer)) {                                                  \
            (hr) = E_POINTER;                                              \
            ::TKRuntimeLogger::LogError(source, __LINE__, function, text); \
            return (hr);                                                   \
        }                                                                  \
    } while (false)
