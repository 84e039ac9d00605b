// Runs tvsource.exe as a child process, and says where the files are that it works on.
#pragma once

#include "base/CAutoDestructor.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

struct HostRun {
    unsigned exitCode = ~0u;
    std::string out, err;  // as written, byte by byte
};

// A file of the build's bin folder, of the media folder and of docs, as Windows names them.
[[nodiscard]] std::wstring BuiltFile(const std::wstring& name);
[[nodiscard]] std::wstring MediaFile(const std::wstring& name);
[[nodiscard]] std::wstring DocumentFile(const std::wstring& name);

[[nodiscard]] std::string BytesOf(const std::wstring& path);
// MPEG audio longer than the filter's read buffer, so that a fault in a later read is met on the way.
[[nodiscard]] std::string LongSound();
// A clip whose format shows at its beginning, and of which a parser needs what stands behind the first 300,000 bytes.
[[nodiscard]] std::string ClipWithLateIndex();
[[nodiscard]] std::string Utf8(const std::wstring& text);

// Wine 8's parsers do not exist for 32-bit programs in its own WoW64 mode; there is nothing to play with then.
[[nodiscard]] bool HasParsers();

// Where the program writes in place of the HostRun, and what it reads: inheritable handles, or null.
struct HostHandles {
    HANDLE out = nullptr, err = nullptr, in = nullptr;
};

// A file that is there, or the screen, for a program that writes to it.
[[nodiscard]] base::CAutoHandle OpenInherited(const std::wstring& path, DWORD access);

// A pipe whose writing end is inheritable.
struct CPipe {
    CPipe();
    base::CAutoHandle reader, writer;
};

// Runs the program, a path or a name of the system's, with these arguments to its end. A program that is not done after
// a minute is ended, with exit code 99. With `meanwhile`, which is called once the program runs, it shares this
// process's console; otherwise it has none.
[[nodiscard]] HostRun RunHost(const std::vector<std::wstring>& arguments,
                              const std::wstring& program = BuiltFile(L"tvsource.exe"),
                              const std::function<void()>& meanwhile = {}, HostHandles handles = {});

// The same command with a filter DLL of the build, which need not be registered.
[[nodiscard]] HostRun RunWithFilter(const wchar_t* command, std::vector<std::wstring> arguments,
                                    const wchar_t* dll = L"TvFileSourceAsync.dll");

// The DLL whose sources misbehave.
inline constexpr wchar_t kAwkward[] = L"awkward_source.dll";

// What is expected of a run: its exit code, and the texts that are in its output (of a failed run: in its error
// output).
void ExpectRun(const HostRun& run, unsigned exitCode, std::initializer_list<std::string> texts);
