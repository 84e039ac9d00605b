#include "tvsource/commands/BatchCases.h"

#include "base/FormatText.h"
#include "base/ModuleFolder.h"
#include "base/Utf8Text.h"
#include "console/CCommandError.h"
#include "console/Text.h"
#include "tvsource/graph/GraphPicture.h"
#include "tvsource/report/Interrupt.h"

namespace tvsource {

namespace {

constexpr DWORD kFailed = 1;

std::wstring ThisProgram() {
    constexpr std::size_t kMost = 32'768;
    std::wstring path(kMost, L'\0');
    path.resize(::GetModuleFileNameW(nullptr, path.data(), kMost));
    return path;
}

// The last line that is an object: the command's. Null: there is none.
console::Json ObjectIn(std::string_view output) {
    while (!output.empty()) {
        const std::size_t end = output.find_last_not_of("\r\n");
        output = output.substr(0, end + 1);
        const std::size_t begin = output.find_last_of('\n') + 1;  // 0 where there is none
        console::Json json = console::ParseJson(output.substr(begin));
        if (json.is_object())
            return json;
        output = output.substr(0, begin);
    }
    return nullptr;
}

// For people: without what steers a terminal, but with its lines.
std::string Harmless(std::string_view output) {
    std::string text;
    for (std::size_t at = 0; at < output.size();) {
        const std::size_t end = std::min(output.find('\n', at), output.size());
        std::string_view line = output.substr(at, end - at);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        text += base::Utf8OfWide(console::Printable(base::WideOfUtf8(line))) + '\n';
        at = end + 1;
    }
    return text;
}

std::wstring FirstLine(const std::string& text) {
    return base::WideOfUtf8(text.substr(0, text.find('\n')));
}

// Why there is no answer of the command's; empty: there is one.
std::optional<console::CCommandError> WhyNoAnswer(const ChildRun& run, const BatchCase& done, DWORD limitMs) {
    switch (run.ending) {
        case ChildRun::Ending::NotStarted:
            return console::CCommandError(L"its process could not be started", HRESULT_FROM_WIN32(run.startError));
        case ChildRun::Ending::TimeLimit:
            return console::CCommandError(base::FormatText(L"it was not done after %u s, and was ended",
                                                           static_cast<unsigned>(limitMs / 1000)))
                .Advise(L"--time-limit gives it more");
        case ChildRun::Ending::Interrupted:
            return console::CCommandError(L"it was interrupted");
        case ChildRun::Ending::Exited:
            break;
    }
    if (done.object.is_object() && (run.exitCode == 0 || (run.exitCode == kFailed && done.object.contains("error"))))
        return std::nullopt;
    const std::wstring said = FirstLine(done.errorOutput);
    const std::wstring words =
        done.ending == "crashed"
            ? base::FormatText(L"it crashed with exit code 0x%08X", static_cast<unsigned>(run.exitCode))
            : base::FormatText(L"it ended with exit code %u", static_cast<unsigned>(run.exitCode));
    return console::CCommandError(words + (said.empty() ? L"" : L": " + said));
}

const char* EndingName(const ChildRun& run) {
    constexpr DWORD kFirstException = 0xC0000000;
    switch (run.ending) {
        case ChildRun::Ending::Exited:
            return run.exitCode >= kFirstException ? "crashed" : "exited";
        case ChildRun::Ending::TimeLimit:
            return "timeLimit";
        case ChildRun::Ending::Interrupted:
            return "interrupted";
        case ChildRun::Ending::NotStarted:
            break;
    }
    return "notStarted";
}

std::wstring TextIn(const console::Json& object, const char* name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_string() ? base::WideOfUtf8(found->get<std::string>()) : std::wstring();
}

template <class Number>
std::optional<Number> NumberIn(const console::Json& object, const char* path) {
    const console::Json::json_pointer place(path);
    return object.contains(place) && object.at(place).is_number() ? std::optional(object.at(place).get<Number>())
                                                                  : std::nullopt;
}

// What the objects of the commands say that the page has a column for. Later ones, of the run itself, say it better.
void TakeFigures(SourceReport& report, const console::Json& object, const std::wstring& source) {
    const auto take = [&](auto& value, const char* path) {
        if (const auto found = NumberIn<typename std::decay_t<decltype(value)>::value_type>(object, path))
            value = found;
    };
    take(report.duration, "/duration");
    take(report.reads, "/reads/calls");
    take(report.bytes, "/reads/bytesCame");
    take(report.longestReadMs, "/reads/longestMs");
    if (const auto streams = object.find("streams"); streams != object.end() && streams->is_array()) {
        report.streams.clear();
        for (const console::Json& stream : *streams)
            report.streams.push_back(TextIn(stream, "kind") + L" " + TextIn(stream, "codec"));
    }
    try {
        if (object.contains("graph"))
            report.graph = SvgOfGraph(GraphOfJson(object.at("graph")), source, SvgPlace::Page);
    } catch (const console::Json::exception&) {
        // There is no picture then.
    }
}

}  // namespace

BatchCase RunCase(CChildRunner& runner, const std::string& command, const std::vector<std::wstring>& options,
                  const std::wstring& source, DWORD limitMs) {
    static const std::wstring program = ThisProgram();
    std::vector<std::wstring> words = {program, base::WideOfUtf8(command), L"--json"};
    words.insert(words.end(), options.begin(), options.end());
    if (command == "play")
        words.push_back(L"--null");
    words.insert(words.end(), {L"--", source});  // a name may begin as an option does

    const ChildRun run = runner.Run(words, limitMs);
    BatchCase done;
    done.command = command;
    done.ending = EndingName(run);
    if (run.ending == ChildRun::Ending::Exited)
        done.exitCode = run.exitCode;
    done.object = ObjectIn(run.out);
    done.seconds = run.seconds;
    done.errorOutput = Harmless(run.err);
    if (const std::optional<console::CCommandError> why = WhyNoAnswer(run, done, limitMs))
        done.error = ErrorObject(step::kRun, *why);
    else if (done.object.contains("error"))
        done.error = done.object.at("error");
    return done;
}

BatchCase CaseWithout(const std::string& command, console::Json error) {
    BatchCase done;
    done.command = command;
    done.ending = "notStarted";
    done.error = std::move(error);
    return done;
}

SourceReport ReportOf(const std::wstring& source, const std::vector<BatchCase>& cases) {
    SourceReport report;
    report.source = source;
    for (const BatchCase& one : cases) {
        const std::wstring kind = TextIn(one.error, "step");
        report.cases.push_back({one.command, one.error.is_null(),
                                one.ending != "exited" || kind == base::WideOfUtf8(step::kRun), base::Utf8OfWide(kind),
                                TextIn(one.error, "text"), one.seconds, one.errorOutput});
        if (one.object.is_object())
            TakeFigures(report, one.object, source);
    }
    return report;
}

void TellCases(CTurn& turn, const std::vector<BatchCase>& cases) {
    console::Json list = console::Json::array();
    console::Json first;  // error
    std::wstring failed;
    for (const BatchCase& one : cases) {
        list.push_back({{"command", one.command},
                        {"passed", one.error.is_null()},
                        {"ending", one.ending},
                        {"exitCode", one.exitCode},
                        {"seconds", one.seconds},
                        {"error", one.error}});
        if (one.error.is_null())
            continue;
        failed += (failed.empty() ? L"\t" : L", ") + base::WideOfUtf8(one.command);
        if (first.is_null())
            first = one.error;
    }
    turn.Line((failed.empty() ? L"passed\t" : L"failed\t") + turn.Source() + failed);
    turn.Fields()["passed"] = failed.empty();
    turn.Fields()["cases"] = std::move(list);
    for (const BatchCase& one : cases) {
        if (one.command != step::kFind)
            turn.Fields()[one.command] = one.object;
    }
    if (!first.is_null())
        turn.Fields()["error"] = std::move(first);
    for (const BatchCase& one : cases) {
        if (!one.error.is_null())
            turn.FailLater(console::CCommandError(base::WideOfUtf8(one.command) + L": " + TextIn(one.error, "text")));
    }
}

}  // namespace tvsource
