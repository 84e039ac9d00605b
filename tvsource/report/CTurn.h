// One source's turn in a command: its steps, what is found out, and how it is told, as text or as one JSON object on a
// line of standard output:
//
//   {"command":"info","source":"C:\\clip.avi", ... , "error":{"step":"open","code":"0x80070002", ...}}
//
// A step that must be left behind (RunOrEndProcess) ends the program: then the turn that is under way tells what it
// has, with that failure.
//
// Threads: one.  Lifetime: one source; one object at a time.
#pragma once

#include "console/CCommandError.h"
#include "console/Json.h"

#include <functional>
#include <string>
#include <string_view>

namespace tvsource {

// How a command tells what it finds.
struct ReportOptions {
    bool json = false;      // one object for each source on standard output, and nothing else there
    bool quiet = false;     // on standard error failures alone: no notes and no progress
    bool verbose = false;   // say there what doesn't go on for five seconds
    bool progress = false;  // show the progress there even if it is no terminal

    // Whether a progress line is to be drawn.
    [[nodiscard]] bool ShowsProgress() const noexcept;
};

// The names of the steps at which a source may fail: the "step" of an error object, listed in docs/tvsource.md.
namespace step {
inline constexpr char kArguments[] = "arguments";  // the words of the command line
inline constexpr char kStart[] = "start";          // what the command needs beside the source, COM say
inline constexpr char kFind[] = "find";            // names are found: of a pattern, in a folder
inline constexpr char kFilter[] = "filter";        // the filter is loaded
inline constexpr char kOpen[] = "open";            // the name is opened
inline constexpr char kDetect[] = "detect";        // the MIME types are found out
inline constexpr char kConnect[] = "connect";      // a parser is connected, and its streams
inline constexpr char kPlay[] = "play";            // the graph runs
inline constexpr char kRead[] = "read";            // bytes are read
inline constexpr char kWrite[] = "write";          // a file is written
inline constexpr char kCompare[] = "compare";      // what was read isn't what it should be
inline constexpr char kRun[] = "run";              // a process of batch gives no answer
}  // namespace step

class CTurn final {
public:
    // `source`: the name as it is shown to people.
    CTurn(const ReportOptions& options, std::string_view command, std::wstring source);
    CTurn(const CTurn&) = delete;
    CTurn& operator=(const CTurn&) = delete;
    ~CTurn();

    [[nodiscard]] const ReportOptions& Options() const noexcept { return m_options; }
    [[nodiscard]] const std::wstring& Source() const noexcept { return m_source; }

    // The name by which the source turned out to go.
    void SetSource(std::wstring source);

    // The step that fails if something is thrown from here on: one of the names above.
    void Enter(const char* step) noexcept { m_step = step; }
    // The same for a step that somebody may have to wait for: a line says so from half a second on, and `words`
    // ("opening") say what doesn't go on for five seconds.
    void Wait(const char* step, const std::wstring& words, const std::function<void()>& work);

    // What is found out, for --json.
    [[nodiscard]] console::Json& Fields() noexcept { return m_fields; }
    // The same, for people; it is printed by Tell, in one piece.
    void Line(std::wstring_view line) { m_text.append(line) += L'\n'; }

    // A hint beside the output: standard error, but not with --quiet.
    void Note(std::wstring_view text) const;

    // A failure that doesn't keep the turn from going on: reported at once to people, and in Tell's object ("error",
    // the first one).
    void Fail(const console::CCommandError& error);

    // The same, but people hear of it behind all lines, at the end of the turn.
    void FailLater(const console::CCommandError& error);

    // The same, but only the exit code and the object have it: the lines say it already.
    void FailSilently(const console::CCommandError& error);

    // Failures begin with the source, also those that name it themselves: where there are many, the name is to be seen
    // at once.
    void NameInFailures() noexcept { m_isNamed = true; }

    // Prints the lines that are there so far, for people.
    void TellLines();

    // Prints the rest of the lines, or the object, as a whole. Once.  The exit code: 1 after a failure.
    int Tell();

    // For an end that is neither success nor failure.
    void SetExitCode(int code) noexcept { m_exitCode = code; }

    // Runs a turn to its end: Tell, also after an exception, which is reported; COutputError is passed on.  The exit
    // code.
    static int Run(const ReportOptions& options, std::string_view command, const std::wstring& source,
                   const std::function<void(CTurn&)>& work);

private:
    void Complain();

    const ReportOptions m_options;
    std::wstring m_source;
    const char* m_step = step::kArguments;
    console::Json m_fields;
    std::wstring m_text;
    std::vector<console::CCommandError> m_later;
    bool m_isNamed = false;
    int m_exitCode = 0;
};

// The error object of a failure.
[[nodiscard]] console::Json ErrorObject(const char* step, const console::CCommandError& error);

}  // namespace tvsource
