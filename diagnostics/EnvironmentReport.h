// A snapshot of the process in the log, for support: where it runs from, on which system, and what it has loaded.
//
//   LogProcessEnvironment(L"MyPlayer");
//   LogLoadedModules(L"*.dll;*.ax", L"MyPlayer", true);
//
// Only the host calls these, with the category for the lines; nothing else does. On a thread without a logger the
// system isn't even asked. Lines have the severity kInfo, except for the two failures named below.
//
// Threads: any.  Errors: none; what can't be found out is left out. The last-error value stays as it is.
#pragma once

#include <windows.h>

namespace TKRuntimeLogger {

// Executable, current folder, command line, and the system's name, architecture, service pack and whether it runs this
// process by emulation. The last four need the system's version: without it, one line of severity kError says so.
void LogProcessEnvironment(const wchar_t* category) noexcept;

// The path and the versions of one module of this process; nothing for a module that has no version resource.
void LogLoadedModule(HMODULE module, const wchar_t* category) noexcept;

// The same for the modules of the process, as the system lists them, whose file names match `pattern`. It may hold
// several patterns, separated by semicolons; null matches every name. With `onlyApplicationDirectory`, modules outside
// the executable's folder and its subfolders are left out. Writes one line of severity kWarn when the system doesn't
// say how many modules there are, and nothing when it fails after that.
void LogLoadedModules(const wchar_t* pattern, const wchar_t* category, BYTE onlyApplicationDirectory) noexcept;

}  // namespace TKRuntimeLogger
