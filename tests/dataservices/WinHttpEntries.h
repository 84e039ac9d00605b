// The test program's own ways to functions of the http library: entries of its import table, which a test exchanges to
// see or to change what is called. They are named as each processor's compilers name them.
#pragma once

#include <windows.h>

#include <winhttp.h>

#ifdef _WIN64
#define TVT_ENTRY(function, argumentBytes) asm("__imp_" function)
#else
#define TVT_ENTRY(function, argumentBytes) asm("__imp__" function "@" argumentBytes)
#endif
extern "C" decltype(&::WinHttpQueryHeaders) __imp_WinHttpQueryHeaders TVT_ENTRY("WinHttpQueryHeaders", "24");
extern "C" decltype(&::WinHttpSetOption) __imp_WinHttpSetOption TVT_ENTRY("WinHttpSetOption", "16");
extern "C" decltype(&::WinHttpGetDefaultProxyConfiguration) __imp_WinHttpGetDefaultProxyConfiguration
    TVT_ENTRY("WinHttpGetDefaultProxyConfiguration", "4");
#undef TVT_ENTRY
