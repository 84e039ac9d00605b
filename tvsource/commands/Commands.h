// The program's commands. Each adds itself to the command line; when it is the one that was given, the parser leaves in
// `chosen` what is to be run then. That returns the program's exit code: 0 when all that was asked for was done,
// kInterrupted after an interrupt, kWrongUsage where words that parse make no sense together, 1 otherwise. What
// commands print has no credentials of URLs. Errors: CCommandError, COutputError.  Threads: the main thread, in the
// multithreaded apartment.
#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace tvsource {

// Run with COM started. It must not be called after the App is gone.
using Command = std::function<int()>;

// Plays the source through a filter graph and reports how that went.
void AddPlay(CLI::App& app, Command& chosen);

// Prints what the filter says about the source. With `--environment` the report is written first, and the place where
// it can be read is printed. Gives 1 when there is no such place, when the MIME types can't be told or not in time, and
// when the source can't be read where a parser wants it; a source that no parser takes is described all the same.
void AddInfo(CLI::App& app, Command& chosen);

// Copies the source's bytes, as a parser would read them.
void AddCat(CLI::App& app, Command& chosen);

// Prints one line for each file: its name, a tab, and the MIME types of its content, separated by commas, or "-". A
// folder stands for all files in it, and a last part with "*" or "?" for all that it matches. Standard error names each
// file that can't be read, or of which not all that matters was read in time, and each pattern that matches nothing.
// The command then goes on with the others, and gives 1 in the end.
void AddDetect(CLI::App& app, Command& chosen);

// Prints how the filter takes a name apart, and what it would open. Nothing is opened.
void AddUri(CLI::App& app, Command& chosen);

// Plays the source as `play --null` does, and writes a trace of what the parser asks for.
void AddTrace(CLI::App& app, Command& chosen);

// Asks a source for what a trace has, and gives 1 if something else comes of it.
void AddReplay(CLI::App& app, Command& chosen);

// Reads each source as a whole in three ways, and gives 1 if not all of them give the same bytes as the file.
void AddVerify(CLI::App& app, Command& chosen);

// Draws the filter graph that would play the source; nothing is played.
void AddGraph(CLI::App& app, Command& chosen);

// Runs info, verify and play over many sources, each in a process of its own, so that one that hangs or crashes is a
// failed case and not the end. Gives 1 when any failed, and when there was nothing to look at.
void AddBatch(CLI::App& app, Command& chosen);

}  // namespace tvsource
