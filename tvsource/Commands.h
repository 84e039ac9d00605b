// The program's commands. Each returns the program's exit code: 0 when all that was asked for was done, kInterrupted
// after an interrupt, 1 otherwise. What they print has no credentials of URLs.
// Errors: CHostError, COutputError.  Threads: the main thread, in the multithreaded apartment.
#pragma once

#include "tvsource/LayerOptions.h"

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace tvsource {

// What all commands that load a source take.
struct CommonOptions {
    std::wstring name;            // of the source, a TypedName
    std::wstring library;         // the DLL to take the filter from, or empty: the registered one
    std::optional<GUID> subtype;  // given to the filter in place of what it would find out
    bool verbose = false;         // say on standard error what doesn't go on for five seconds
    LayerOptions layer;           // for sources that are no local files
};

struct PlayOptions {
    CommonOptions common;
    bool null = false;            // show nothing, play nothing aloud, go as fast as possible
    bool progress = false;        // show the progress on standard error even if that is no terminal
    bool countedSamples = false;  // the filter's own rule for the references of samples, not the platform's
};

struct InfoOptions {
    CommonOptions common;      // the name may be empty if the environment is asked for
    bool environment = false;  // report the process, its system and its modules to the log
};

struct CatOptions {
    CommonOptions common;
    LONGLONG offset = 0;             // in bytes
    std::optional<LONGLONG> length;  // in bytes; empty: to the end
    std::wstring output;             // a file to be written, or empty: standard output
    bool progress = false;           // as for play; otherwise not if the bytes go to a terminal either
};

// Plays the source through a filter graph and reports how that went.
[[nodiscard]] int Play(const PlayOptions& options);

// Prints what the filter says about the source. With `environment` the report is written first, and the place where it
// can be read is printed. Gives 1 when there is no such place, when the MIME types can't be told or not in time, or
// when the filter offers no type for those that are known.
[[nodiscard]] int Info(const InfoOptions& options);

// Copies the source's bytes, as a parser would read them.
[[nodiscard]] int Cat(const CatOptions& options);

struct DetectOptions {
    std::vector<std::wstring> names;  // files, folders, patterns and URIs, TypedNames
    bool explain = false;             // say why
    bool progress = false;            // as for play
    bool verbose = false;             // as in CommonOptions
    LayerOptions layer;               // likewise
};

// Prints one line for each file: its name, a tab, and the MIME types of its content, separated by commas, or "-". A
// folder stands for all files in it, and a last part with "*" or "?" for all that it matches. Standard error names each
// file that can't be read, or of which not all that matters was read in time, and each pattern that matches nothing.
// The command then goes on with the others, and gives 1 in the end.
[[nodiscard]] int Detect(const DetectOptions& options);

// Prints how the filter takes a name apart, and what it would open. Nothing is opened.
[[nodiscard]] int Uri(const std::wstring& text);

}  // namespace tvsource
