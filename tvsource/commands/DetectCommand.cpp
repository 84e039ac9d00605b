#include "base/FormatText.h"
#include "console/CCommandError.h"
#include "console/CConsole.h"
#include "framework/streams/TKFCreateStreamFromUri.h"
#include "threading/CTaskGroup.h"
#include "tvsource/commands/Arguments.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/report/CActivity.h"
#include "tvsource/report/CProgressLine.h"
#include "tvsource/report/Interrupt.h"
#include "tvsource/source/CMimeDictionary.h"
#include "tvsource/source/FileNames.h"
#include "tvsource/source/SourceName.h"

#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <future>
#include <memory>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

struct Answer {
    std::vector<std::wstring> types;
    std::vector<std::wstring> explanation;
    std::optional<console::CCommandError> fault;
};

struct Arguments {
    std::vector<std::string> paths;
    bool explain = false;
    LayerArguments layer;
    ReportOptions report;
};

Answer DetectOne(const CMimeDictionary& dictionary, const framework::CParsedName& name, bool explain,
                 IUnknown* accessFactory) {
    ComPtr<IStream> content;
    constexpr DWORD kMode = kTKFStreamRead | kTKFStreamShareRead | kTKFStreamShareWrite | kTKFStreamShareDelete;
    constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HRESULT hr = ::TKFCreateStreamFromUri(SourceName(name), kMode, &content, accessFactory, nullptr);
    if (FAILED(hr))
        throw WhyNotOpened(L"Cannot open it", name, kShare, hr);
    CMimeDictionary::Answer answer = explain ? dictionary.Explain(content.Get()) : dictionary.Detect(content.Get());
    return {std::move(answer.types), std::move(answer.explanation), DetectionFault(answer.result)};
}

// Looks at files on all processors, and tells of them in the order in which they were given.
class CDetection final {
public:
    CDetection(const CMimeDictionary& dictionary, const Arguments& arguments)
        : m_dictionary(dictionary),
          m_accessFactory(FactoryOf(arguments.layer.Options())),
          m_arguments(arguments),
          m_line(arguments.report.ShowsProgress()) {}
    CDetection(const CDetection&) = delete;
    CDetection& operator=(const CDetection&) = delete;
    ~CDetection() {
        RunOrEndProcess([&] { m_manager.Stop(threading::Rest::Discard, INFINITE); });
    }

    void Add(framework::CParsedName name) {
        // So many are enough to keep the workers busy while one file takes its time.
        constexpr std::size_t kMostAhead = 256;
        while (m_files.size() >= kMostAhead)
            TellNext();
        const auto work = std::make_shared<Work>(
            [this, name] { return DetectOne(m_dictionary, name, m_arguments.explain, m_accessFactory.Get()); });
        m_files.push_back({std::move(name), step::kDetect, work});
        m_group.Run([work](const threading::CCancelToken&) { work->Begin(); });
    }

    // What can't be looked at at all.
    void AddFault(framework::CParsedName name, const console::CCommandError& error) {
        m_files.push_back({std::move(name), step::kFind, std::make_shared<Work>([error]() -> Answer { throw error; })});
    }

    // The program's exit code.
    int Finish() {
        while (!m_files.empty())
            TellNext();
        if (m_told > 0)
            return m_code;
        return CTurn::Run(m_arguments.report, "detect", L"", [](CTurn& turn) {
            turn.Enter(step::kFind);
            throw NoFile();
        });
    }

private:
    // Is done by whoever comes first.
    struct Work {
        explicit Work(std::function<Answer()> detect) : task(std::move(detect)) {}

        void Begin() {
            if (!hasBegun.exchange(true))
                task();
        }
        [[nodiscard]] Answer Result() {
            Begin();  // the answer is wanted now; a worker may be long in coming
            return task.get_future().get();
        }

        std::packaged_task<Answer()> task;
        std::atomic<bool> hasBegun{false};
    };
    struct File {
        framework::CParsedName name;
        const char* step;
        std::shared_ptr<Work> work;
    };

    static ComPtr<IUnknown> FactoryOf(const LayerOptions& options) {
        return options.empty() ? nullptr : AccessFactoryWith(options);
    }

    void TellNext() {
        const File file = std::move(m_files.front());
        m_files.pop_front();
        m_line.ShowText(base::FormatText(L"file %d", ++m_told));
        const int code = CTurn::Run(m_arguments.report, "detect", ShownName(file.name), [&](CTurn& turn) {
            turn.Enter(file.step);
            turn.NameInFailures();
            Answer answer;
            {
                const CActivity activity(L"Detect", L"looking at " + turn.Source(), m_arguments.report.verbose);
                answer = file.work->Result();
            }
            if (console::IsTerminal(STD_OUTPUT_HANDLE))
                CProgressLine::Wipe();
            turn.Line(turn.Source() + L"\t" + MimeTypesText(answer.types));
            turn.Fields()["mime"] = console::JsonTexts(answer.types);
            for (const std::wstring& line : answer.explanation)
                turn.Line(L"  " + line);
            if (m_arguments.explain)
                turn.Fields()["explanation"] = console::JsonTexts(answer.explanation);
            if (answer.fault)
                turn.Fail(*answer.fault);
        });
        m_code = std::max(m_code, code);
    }

    const CMimeDictionary& m_dictionary;
    const ComPtr<IUnknown> m_accessFactory;  // null: one for each file
    const Arguments& m_arguments;
    CProgressLine m_line;
    std::deque<File> m_files;  // not yet told of
    int m_told = 0;
    int m_code = 0;
    threading::CParallelManager m_manager{"Detection"};
    threading::CTaskGroup m_group{m_manager};
};

int Detect(const Arguments& arguments) {
    const CMimeDictionary dictionary;
    CDetection detection(dictionary, arguments);
    std::vector<std::wstring> typed;
    for (const std::string& path : arguments.paths)
        typed.push_back(NameOf(path));
    FindFiles(typed, arguments.report.verbose,
              {[&](const framework::CParsedName& name) { detection.Add(name); },
               [&](const framework::CParsedName& name, const console::CCommandError& error) {
                   detection.AddFault(name, error);
               }});
    return detection.Finish();
}

}  // namespace

void AddDetect(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("detect", "Prints the MIME types of files, as their content tells them.");
    command
        ->add_option("PATH", arguments->paths,
                     "Files, which may be patterns (*.mid), URIs, and folders, which stand for all files in them")
        ->required()
        ->type_name("");
    command->add_flag("--explain", arguments->explain,
                      "Say which format was found, on what bytes, and what was ruled out");
    AddReportOptions(*command, arguments->report, true);
    arguments->layer.AddTo(*command);
    command->callback([=, &chosen] {
        arguments->layer.CheckNames(arguments->paths);
        chosen = [=] { return Detect(*arguments); };
    });
}

}  // namespace tvsource
