#include "base/FormatText.h"
#include "base/LongPath.h"
#include "framework/streams/TKFCreateStreamFromUri.h"
#include "threading/CTaskGroup.h"
#include "tvsource/CActivity.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/CMimeDictionary.h"
#include "tvsource/CProgressLine.h"
#include "tvsource/Commands.h"
#include "tvsource/Interrupt.h"
#include "tvsource/SourceName.h"

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

constexpr DWORD kLinkedFolder = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;

// The names in the folder that match, sorted. Links to folders are left out: they may lead back to where they stand.
std::vector<std::wstring> EntriesOf(const std::wstring& folder, const std::wstring& pattern) {
    std::vector<std::wstring> entries;
    WIN32_FIND_DATAW data{};
    const std::wstring full = base::FullPathOf(folder);
    const base::CAutoFind find(
        ::FindFirstFileW(base::OpenablePath(full + (full.ends_with(L'\\') ? L"" : L"\\") + pattern).c_str(), &data));
    if (!find && ::GetLastError() == ERROR_FILE_NOT_FOUND)
        return entries;
    if (!find)
        throw CHostError(L"Cannot list it", HRESULT_FROM_WIN32(::GetLastError()));
    do {
        const std::wstring name = data.cFileName;
        if (name != L"." && name != L".." && (data.dwFileAttributes & kLinkedFolder) != kLinkedFolder)
            entries.push_back(name);
    } while (::FindNextFileW(find.Get(), &data));
    if (::GetLastError() != ERROR_NO_MORE_FILES)
        throw CHostError(L"Cannot list it to its end", HRESULT_FROM_WIN32(::GetLastError()));
    std::sort(entries.begin(), entries.end());
    return entries;
}

// Turns what was typed into the names to be looked at: a path gets one kind of separator, a pattern becomes the names
// that it matches. The system's own shell hands patterns to console programs as they are.
std::vector<std::wstring> NamesOf(std::wstring typed) {
    if (IsUri(typed))
        return {typed};
    std::replace(typed.begin(), typed.end(), L'/', L'\\');
    const size_t last = typed.find_last_of(L"\\:") + 1;  // 0 where there is none
    const std::wstring folder = typed.substr(0, last), pattern = typed.substr(last);
    if (pattern.find_first_of(L"*?") == pattern.npos)
        return {typed};
    std::vector<std::wstring> names = EntriesOf(folder.empty() ? L"." : folder, pattern);
    if (names.empty())
        throw CHostError(L"no file has such a name");
    for (std::wstring& name : names)
        name.insert(0, folder);
    return names;
}

struct Answer {
    std::wstring lines;
    std::wstring fault;  // empty: none
};

Answer DetectOne(const CMimeDictionary& dictionary, const framework::CParsedName& name, bool explain,
                 IUnknown* accessFactory) {
    ComPtr<IStream> content;
    constexpr DWORD kMode = kTKFStreamRead | kTKFStreamShareRead | kTKFStreamShareWrite | kTKFStreamShareDelete;
    constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HRESULT hr = ::TKFCreateStreamFromUri(SourceName(name), kMode, &content, accessFactory, nullptr);
    if (FAILED(hr))
        return {L"", L"Cannot open it: " + WhyNotOpened(name, kShare, hr)};
    const CMimeDictionary::Answer answer =
        explain ? dictionary.Explain(content.Get()) : dictionary.Detect(content.Get());
    std::wstring lines = ShownName(name) + L"\t" + MimeTypesText(answer.types) + L"\n";
    for (const std::wstring& line : answer.explanation)
        lines += L"  " + line + L"\n";
    return {std::move(lines), DetectionFault(answer.result)};
}

// Looks at files on all processors, and tells of them in the order in which they were given.
class CDetection final {
public:
    CDetection(const CMimeDictionary& dictionary, const DetectOptions& options)
        : m_dictionary(dictionary),
          m_accessFactory(options.layer.empty() ? nullptr : AccessFactoryWith(options.layer)),
          m_explains(options.explain),
          m_isVerbose(options.verbose),
          m_line(options.progress || IsTerminal(STD_ERROR_HANDLE)) {}
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
            [this, name] { return DetectOne(m_dictionary, name, m_explains, m_accessFactory.Get()); });
        m_files.push_back({std::move(name), work});
        m_group.Run([work](const threading::CCancelToken&) { work->Begin(); });
    }

    // What can't be looked at at all.
    void AddFault(framework::CParsedName name, const CHostError& error) {
        m_files.push_back({std::move(name), std::make_shared<Work>([error]() -> Answer { throw error; })});
    }

    // The program's exit code.
    int Finish() {
        while (!m_files.empty())
            TellNext();
        return m_code;
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
        std::shared_ptr<Work> work;
    };

    void TellNext() {
        const File file = std::move(m_files.front());
        m_files.pop_front();
        m_line.ShowText(base::FormatText(L"file %d", ++m_told));
        Answer answer;
        try {
            const CActivity activity(L"Detect", L"looking at " + ShownName(file.name), m_isVerbose);
            answer = file.work->Result();
        } catch (const CHostError& error) {
            answer.fault = error.Text();
        }
        if (!answer.lines.empty()) {
            if (IsTerminal(STD_OUTPUT_HANDLE))
                CProgressLine::Wipe();
            Print(answer.lines);
        }
        if (!answer.fault.empty()) {
            CProgressLine::Wipe();
            Complain(L"tvsource: " + ShownName(file.name) + L": " + answer.fault + L"\n");
            m_code = 1;
        }
    }

    const CMimeDictionary& m_dictionary;
    const ComPtr<IUnknown> m_accessFactory;  // null: one for each file
    const bool m_explains;
    const bool m_isVerbose;
    CProgressLine m_line;
    std::deque<File> m_files;  // not yet told of
    int m_told = 0;
    int m_code = 0;
    threading::CParallelManager m_manager{"Detection"};
    threading::CTaskGroup m_group{m_manager};
};

}  // namespace

int Detect(const DetectOptions& options) {
    const CMimeDictionary dictionary;
    CDetection detection(dictionary, options);
    // What is still to be looked at, last first. A folder is replaced by what is in it, at any depth.
    std::vector<std::wstring> names;
    for (const std::wstring& typed : options.names) {
        try {
            for (const std::wstring& name : NamesOf(typed))
                names.push_back(name);
        } catch (const CHostError& error) {
            detection.AddFault(framework::CParsedName(typed.c_str()), error);
        }
    }
    std::reverse(names.begin(), names.end());

    while (!names.empty()) {
        framework::CParsedName parsed(names.back().c_str());
        const std::wstring& name = parsed.Text();
        names.pop_back();
        if (IsUri(name) || !IsFolder(name)) {
            detection.Add(std::move(parsed));
            continue;
        }
        try {
            const CActivity activity(L"Detect", L"listing " + ShownName(parsed), options.verbose);
            const std::vector<std::wstring> entries = EntriesOf(name, L"*");
            const bool isClosed = name.ends_with(L'\\');
            for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
                names.push_back(name + (isClosed ? L"" : L"\\") + *entry);
        } catch (const CHostError& error) {
            detection.AddFault(parsed, error);
        }
    }
    return detection.Finish();
}

}  // namespace tvsource
