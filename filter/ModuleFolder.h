// Where this DLL (or, in a program that links the filter's code, the program) stands.
#pragma once

#include <string>

// The folder with a trailing backslash; empty when it can't be told. Paths of any length.
[[nodiscard]] std::wstring ModuleFolder();
