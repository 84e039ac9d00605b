#include "base/CAutoDestructor.h"
#include "base/FormatText.h"
#include "base/LongPath.h"
#include "console/CConsole.h"
#include "console/COutputFile.h"
#include "console/Text.h"
#include "threading/CTaskGroup.h"
#include "tvsource/commands/Arguments.h"
#include "tvsource/commands/BatchCases.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/report/CJUnit.h"
#include "tvsource/report/CProgressLine.h"
#include "tvsource/report/HtmlPage.h"
#include "tvsource/report/Interrupt.h"
#include "tvsource/source/FileNames.h"
#include "tvsource/source/SourceName.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <future>
#include <optional>

namespace tvsource {

namespace {

using Clock = std::chrono::steady_clock;

const std::vector<std::string> kCommands = {"info", "verify", "play"};  // in the order in which they are run

struct Arguments {
    SourceArguments source;
    std::vector<std::string> paths;
    std::vector<std::string> commands = kCommands;
    std::string page, junit;
    unsigned jobs = 0, timeLimit = 300;
    std::vector<std::wstring> passedOn;  // what each command is given besides the name
};

std::vector<CFileIdentity> OutputsOf(const Arguments& arguments) {
    std::vector<CFileIdentity> outputs;
    for (const std::string& path : {arguments.page, arguments.junit}) {
        if (!path.empty())
            outputs.emplace_back(base::WideOfUtf8(path));
    }
    return outputs;
}

bool IsAmong(const std::vector<CFileIdentity>& outputs, const CFileIdentity& file) {
    return std::ranges::any_of(outputs, [&](const CFileIdentity& each) { return each.IsSameAs(file); });
}

// Whether nothing is lost if a report takes the place of what is there: nothing, or an older report.
bool MayBeReplaced(const std::string& path) {
    const base::CAutoHandle file(::CreateFileW(base::OpenablePath(base::WideOfUtf8(path)).c_str(), GENERIC_READ,
                                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                               OPEN_EXISTING, 0, nullptr));
    char first = 0;
    DWORD count = 0;
    return !file || ::GetFileType(file.Get()) != FILE_TYPE_DISK ||
           !::ReadFile(file.Get(), &first, 1, &count, nullptr) || count == 0 || first == '<';
}

// A report must not take the place of a source or list, nor of anything else but an older report.
void CheckOutputs(const Arguments& arguments) {
    const std::vector<CFileIdentity> outputs = OutputsOf(arguments);
    if (outputs.size() == 2 && outputs.front().IsSameAs(outputs.back()))
        throw CLI::ValidationError("--junit", "it is the file of --report");
    for (const std::string& path : arguments.paths) {
        const std::wstring name = NameOf(path.substr(path.starts_with('@') ? 1 : 0));
        if (!outputs.empty() && IsAmong(outputs, CFileIdentity(framework::CParsedName(name.c_str()))))
            throw CLI::ValidationError(arguments.page.empty() ? "--junit" : "--report",
                                       "the report would take the place of " + path);
    }
    for (const std::string& path : {arguments.page, arguments.junit}) {
        if (!path.empty() && !MayBeReplaced(path))
            throw CLI::ValidationError(path == arguments.page ? "--report" : "--junit",
                                       path + " is there, and is no older report");
    }
}

std::vector<FoundFile> SourcesOf(const Arguments& arguments) {
    std::vector<std::wstring> names;
    for (const std::string& path : arguments.paths) {
        if (path.starts_with('@'))
            std::ranges::copy(NamesInList(NameOf(path.substr(1))), std::back_inserter(names));
        else
            names.push_back(NameOf(path));
    }
    std::vector<FoundFile> sources = FilesOf(names, arguments.source.report.verbose);
    // Reports may stand where the sources are.
    if (const std::vector<CFileIdentity> outputs = OutputsOf(arguments); !outputs.empty())
        std::erase_if(sources, [&](const FoundFile& each) { return IsAmong(outputs, CFileIdentity(each.name)); });
    return sources;
}

// The options that the commands have in common, as they were given to this one. Their values may be secrets: they are
// passed on as they stand in this program's own command line, and nowhere else.
std::vector<std::wstring> OptionsOf(const CLI::App& command, const std::vector<std::string>& own) {
    std::vector<std::wstring> words;
    for (const CLI::Option* option : command.get_options()) {
        const std::string name = option->get_name();
        if (option->count() == 0 || !name.starts_with("--") || std::ranges::count(own, name) > 0 ||
            option->get_group() == kReportGroup)
            continue;
        for (const std::string& value : option->results())
            words.push_back(base::WideOfUtf8(option->get_items_expected() > 0 ? name + "=" + value : name));
    }
    return words;
}

class CBatch final {
public:
    // `interrupt` is the runner's, too.  All CCommandErrors are of the reports.
    CBatch(const Arguments& arguments, HANDLE interrupt, CChildRunner& runner)
        : m_arguments(arguments),
          m_interrupt(interrupt),
          m_page(OutputFor(arguments.page)),
          m_junit(OutputFor(arguments.junit)),
          m_line(arguments.source.report.ShowsProgress()),
          m_runner(runner),
          m_manager("Batch", arguments.jobs) {
        Write(m_page, PageBegin());
    }
    CBatch(const CBatch&) = delete;
    CBatch& operator=(const CBatch&) = delete;
    ~CBatch() {
        ::SetEvent(m_interrupt);  // what still runs is of no use
        m_group.Cancel();
        RunOrEndProcess([&] { m_manager.Stop(threading::Rest::Discard, INFINITE); });
    }

    // The program's exit code.
    int Run(const std::vector<FoundFile>& sources) {
        m_sources = sources.size();
        // So many are enough to keep the workers busy while one source takes its time.
        constexpr std::size_t kMostAhead = 256;
        for (const FoundFile& source : sources) {
            while (m_begun.size() >= kMostAhead && !m_isInterrupted)
                TellNext();
            if (!m_isInterrupted)
                Begin(source);
        }
        while (!m_begun.empty() && (!m_isInterrupted || IsNextDone()))
            TellNext();
        const double seconds = std::chrono::duration<double>(Clock::now() - m_beginning).count();
        // Of a run that was interrupted, the reports have what it came to.
        if (m_told > 0 || !m_isInterrupted)
            FinishReports(seconds);
        return m_isInterrupted ? kInterrupted : TellSummary(seconds);
    }

private:
    using Cases = std::vector<BatchCase>;
    struct Begun {
        FoundFile source;
        std::shared_ptr<std::packaged_task<Cases()>> task;
        std::future<Cases> cases;
    };

    using Output = std::unique_ptr<console::CReplacingFile>;  // null: not wanted

    static Output OutputFor(const std::string& path) {
        return path.empty() ? nullptr : std::make_unique<console::CReplacingFile>(base::WideOfUtf8(path));
    }
    static void Write(const Output& file, std::string_view text) {
        if (file)
            file->Write(text);
    }
    static void Finish(const Output& file, std::string_view end) {
        Write(file, end);
        if (file)
            file->Finish();
    }

    void Begin(const FoundFile& source) {
        auto task = std::make_shared<std::packaged_task<Cases()>>([this, source] { return CasesOf(source); });
        m_begun.push_back({source, task, task->get_future()});
        m_group.Run([task](const threading::CCancelToken&) { (*task)(); });
    }

    Cases CasesOf(const FoundFile& source) {
        if (source.fault)
            return {CaseWithout(step::kFind, ErrorObject(step::kFind, *source.fault))};
        Cases cases;
        for (const std::string& command : m_arguments.commands)
            cases.push_back(
                RunCase(m_runner, command, m_arguments.passedOn, source.name.Text(), m_arguments.timeLimit * 1000));
        return cases;
    }

    bool IsNextDone() { return m_begun.front().cases.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }

    void TellNext() {
        constexpr std::chrono::milliseconds kLook(100);
        m_line.ShowText(base::FormatText(L"%u of ", m_told) +
                        console::CountText(static_cast<LONGLONG>(m_sources), L"source") +
                        base::FormatText(L", %u failed", m_failed));
        // Called for what the group couldn't begin when it was given it: its manager's queue was full.
        static_cast<void>(m_group.Wait(0));
        const bool isDone = m_begun.front().cases.wait_for(kLook) == std::future_status::ready;
        m_isInterrupted = ::WaitForSingleObject(m_interrupt, 0) == WAIT_OBJECT_0;
        if (!isDone)
            return;
        Begun next = std::move(m_begun.front());
        m_begun.pop_front();
        const Cases cases = next.cases.get();
        if (std::ranges::none_of(cases, [](const BatchCase& one) { return one.ending == "interrupted"; }))
            Tell(next.source, cases);
    }

    void Tell(const FoundFile& source, const Cases& cases) {
        const SourceReport report = ReportOf(ShownName(source.name), cases);
        Write(m_page, PageRow(report));
        m_units.Add(report);
        m_cases += static_cast<unsigned>(cases.size());
        m_failedCases += static_cast<unsigned>(std::ranges::count(report.cases, false, &CaseReport::passed));
        ++m_told;
        m_failed += report.HasPassed() ? 0 : 1;
        if (console::IsTerminal(STD_OUTPUT_HANDLE))
            CProgressLine::Wipe();
        const int code = CTurn::Run(m_arguments.source.report, "batch", ShownName(source.name), [&](CTurn& turn) {
            turn.Enter(step::kRun);
            turn.NameInFailures();
            TellCases(turn, cases);
        });
        m_code = std::max(m_code, code);
    }

    void FinishReports(double seconds) {
        std::optional<console::CCommandError> failure;  // of the one; the other is finished all the same
        try {
            Finish(m_page, PageEnd());
        } catch (const console::CCommandError& error) {
            failure = error;
        }
        Finish(m_junit, m_units.Text(seconds));
        if (failure)
            throw *failure;
    }

    int TellSummary(double seconds) {
        CProgressLine::Wipe();
        return std::max(m_code, CTurn::Run(m_arguments.source.report, "batch", L"", [&](CTurn& turn) {
                            turn.Line(console::CountText(m_told, L"source") +
                                      base::FormatText(L", %u failed; ", m_failed) +
                                      console::CountText(m_cases, L"command") +
                                      base::FormatText(L", %u failed; %.1f s", m_failedCases, seconds));
                            turn.Fields()["summary"] = {{"sources", m_told},
                                                        {"failedSources", m_failed},
                                                        {"cases", m_cases},
                                                        {"failedCases", m_failedCases},
                                                        {"seconds", seconds}};
                            if (m_told == 0)
                                throw NoFile();
                        }));
    }

    const Arguments& m_arguments;
    const HANDLE m_interrupt;
    const Output m_page, m_junit;
    const Clock::time_point m_beginning = Clock::now();
    CProgressLine m_line;
    CJUnit m_units;
    std::deque<Begun> m_begun;  // not yet told of
    std::size_t m_sources = 0;
    unsigned m_told = 0, m_failed = 0, m_cases = 0, m_failedCases = 0;
    int m_code = 0;
    bool m_isInterrupted = false;
    CChildRunner& m_runner;
    threading::CParallelManager m_manager;
    threading::CTaskGroup m_group{m_manager};
};

int Batch(const Arguments& arguments) {
    constexpr DWORD kGraceMs = 4000;  // for the reports of what was done
    const HANDLE interrupt = InterruptEvent(kGraceMs);
    const std::vector<FoundFile> sources = SourcesOf(arguments);
    CChildRunner runner(interrupt);
    try {
        return CBatch(arguments, interrupt, runner).Run(sources);
    } catch (const console::CCommandError& error) {
        return CTurn::Run(arguments.source.report, "batch", L"", [&](CTurn& turn) {
            turn.Enter(step::kWrite);
            throw error;
        });
    }
}

}  // namespace

void AddBatch(CLI::App& app, Command& chosen) {
    constexpr unsigned kMostJobs = 64, kLongestSeconds = 86'400;
    const std::vector<std::string> own = {"--report", "--junit", "--jobs", "--time-limit", "--commands"};
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand(
        "batch", "Runs info, verify and play --null over many sources, each in a process of its own, and reports.");
    command
        ->add_option("PATH", arguments->paths,
                     "Files, which may be patterns (*.mid), URIs, folders, which stand for all files in them, and "
                     "@LIST, a text file with one of these on each line")
        ->required()
        ->type_name("");
    command->add_option(own[0], arguments->page, "Write a page for browsers to this file")->type_name("OUT.html");
    command->add_option(own[1], arguments->junit, "Write a report for CI systems, in JUnit's format")
        ->type_name("OUT.xml");
    command->add_option(own[2], arguments->jobs, "How many sources at once; without it, one for each processor")
        ->check(CLI::Range(1u, kMostJobs))
        ->type_name("N");
    command->add_option(own[3], arguments->timeLimit, "How long a command may take with a source; 300 without it")
        ->check(CLI::Range(1u, kLongestSeconds))
        ->type_name("SECONDS");
    command->add_option(own[4], arguments->commands, "Which of the commands to run, separated by commas")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::IsMember(kCommands))
        ->type_name("LIST");
    arguments->source.AddTo(*command, true);
    command->callback([=, &chosen] {
        CheckOutputs(*arguments);
        const auto isWanted = [wanted = arguments->commands](const std::string& each) {
            return std::ranges::count(wanted, each) > 0;
        };
        arguments->commands.clear();
        std::ranges::copy_if(kCommands, std::back_inserter(arguments->commands), isWanted);
        arguments->passedOn = OptionsOf(*command, own);
        // The session has one place for a log, so that two processes at once would be in each other's way.
        if (LogFilter(*command))
            arguments->jobs = 1;
        chosen = [=] { return Batch(*arguments); };
    });
}

}  // namespace tvsource
