// The times of media samples between an asynchronous reader (IAsyncReader) and its parser: they carry byte positions,
// a second for each byte.
#pragma once

#include <windows.h>

inline constexpr LONGLONG kSampleTimeUnitsPerByte = 10'000'000;  // the unit of the times is 100 ns
