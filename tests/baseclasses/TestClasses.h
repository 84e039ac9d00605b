// The table of classes of the test program: the test filter, and classes whose creation fails in every way.
#pragma once

#include "tests/baseclasses/CTestFilter.h"

#include <vector>

inline constexpr CLSID CLSID_FailingFilter{0x7E570000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}};
inline constexpr CLSID CLSID_MissingFilter{0x7E570000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 2}};
inline constexpr CLSID CLSID_ThrowingFilter{0x7E570000, 0, 0, {0, 0, 0, 0, 0, 0, 0, 3}};

// The test filter's record: merit unlikely, one output pin that offers a byte stream.
extern const AMOVIESETUP_FILTER testFilterSetup;

// What the test filter's row was told when the module was loaded and unloaded.
extern std::vector<BOOL> initCalls;
