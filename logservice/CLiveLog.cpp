#include "logservice/CLiveLog.h"

#include "base/CSlimLock.h"
#include "base/FormatText.h"
#include "console/CCommandError.h"
#include "console/CConsoleKeys.h"
#include "console/CTerminal.h"
#include "console/Text.h"
#include "logview/CConsoleView.h"

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace logservice {

namespace {

constexpr std::size_t kMostWaiting = 100'000;
constexpr std::size_t kMostWaitingBytes = 64 << 20;
constexpr DWORD kRoundMs = 50;
constexpr DWORD kLastWordsMs = 2000;

constexpr std::size_t kMostNotes = 100;

std::wstring QuestionText(const logview::Question& question) {
    return base::FormatText(L"Process %lu asks: %s", question.record.processId, question.record.message.c_str());
}

// What is wrong with a typed answer; empty: nothing.
std::wstring ParseAnswer(const std::wstring& line, LONG& answer) {
    const wchar_t* const begin = line.c_str();
    wchar_t* end = nullptr;
    errno = 0;
    const long number = std::wcstol(begin, &end, 10);
    if (end == begin || *end || errno == ERANGE)
        return L"The answer is a number.";
    answer = number;
    return {};
}

}  // namespace

// What both threads use; the console's keeps it alive when it is left behind.
struct CLiveLog::Shared {
    explicit Shared(Settings given) : settings(std::move(given)) {}

    void Run();
    void AskNext(logview::CConsoleView& view);
    void LookAtOutput(const logview::CConsoleView& view) noexcept;
    void Round(logview::CConsoleView& view, console::CConsoleKeys& keys, DWORD waitMs);

    const Settings settings;
    logview::CRecordQueue records{kMostWaiting, kMostWaitingBytes};
    std::atomic<bool> isEnding{false};
    std::atomic<DWORD> outputError{ERROR_SUCCESS};
    std::atomic<ULONGLONG> leftOut{0};  // of an output that isn't a console

    base::CSlimLock lock;  // guards the notes
    std::vector<std::wstring> notes;

    // Of the console's thread.
    bool isConsole = false;
    ULONGLONG lostTold = 0;
    ULONGLONG told = 0;   // the last question that was shown
    ULONGLONG asked = 0;  // the one that stands in the prompt; 0: none
};

void CLiveLog::Shared::AskNext(logview::CConsoleView& view) {
    if (!settings.questions)
        return;
    const std::optional<CQuestions::Open> open = settings.questions->Next();
    if (asked != 0 && (!open || open->number != asked)) {  // given up, or answered
        asked = 0;
        view.EndPrompt();
    }
    if (!open || asked != 0)
        return;
    const auto take = [this, number = open->number,
                       byDefault = open->question.defaultAnswer](const std::optional<std::wstring>& line) {
        LONG answer = byDefault;
        if (line && !line->empty()) {
            if (std::wstring wrong = ParseAnswer(*line, answer); !wrong.empty())
                return wrong;
        }
        asked = 0;  // the prompt is closed
        static_cast<void>(settings.questions->Answer(number, answer));
        return std::wstring();
    };
    // A pause holds back what it is about, but not the question.
    if (std::exchange(told, open->number) != open->number) {
        view.Show(console::Printable(QuestionText(open->question)));
        view.Show(console::Printable(open->question.secondText));
    }
    // While another prompt is open, the next round tries again.
    if (view.Ask(base::FormatText(L"Answer (Enter: %ld): ", open->question.defaultAnswer), {}, take))
        asked = open->number;
}

void CLiveLog::Shared::Round(logview::CConsoleView& view, console::CConsoleKeys& keys, DWORD waitMs) {
    for (const logview::Arrival& arrival : records.Take(waitMs)) {
        try {
            view.Take(arrival);
        } catch (const std::bad_alloc&) {
            records.AddLost(1);
        }
    }
    std::vector<std::wstring> newNotes;
    {
        const std::lock_guard guard(lock);
        newNotes.swap(notes);
    }
    for (const std::wstring& note : newNotes)
        view.Note(note);
    if (const ULONGLONG lost = records.Lost(); lost != lostTold) {
        view.Note(base::FormatText(L"%I64u records were left out here: the console is too slow", lost - lostTold));
        lostTold = lost;
        if (!isConsole)
            leftOut = lost;
    }
    for (const console::Key& key : keys.Take()) {
        if (!view.Press(key))
            ::SetEvent(settings.ending);
    }
    AskNext(view);
    view.Flush();
    LookAtOutput(view);
}

void CLiveLog::Shared::LookAtOutput(const logview::CConsoleView& view) noexcept {
    if (!view.Failure())
        return;
    if (!view.Failure()->IsClosedPipe())
        outputError = view.Failure()->Error();
    if (settings.endsWithOutput)
        ::SetEvent(settings.ending);
}

void CLiveLog::Shared::Run() {
    console::CTerminal terminal(::GetStdHandle(STD_OUTPUT_HANDLE));
    isConsole = terminal.IsInteractive();
    console::CConsoleKeys keys;
    logview::CConsoleView view(terminal, settings.filter, settings.profileTable);
    while (!isEnding)
        base::RunQuietly([&] { Round(view, keys, kRoundMs); });
    base::RunQuietly([&] {
        view.EndPrompt();
        Round(view, keys, 0);
        view.Finish(settings.showsLines);
        LookAtOutput(view);
    });
}

CLiveLog::CLiveLog(Settings settings)
    : m_shared(std::make_shared<Shared>(std::move(settings))), m_thread("Console", COINIT_MULTITHREADED) {
    if (m_thread.Post([shared = m_shared] { shared->Run(); }) == 0)
        throw std::bad_alloc();
}

CLiveLog::~CLiveLog() {
    if (!m_isStopped)
        Stop(kLastWordsMs);
}

void CLiveLog::Put(const logview::Arrival& arrival) noexcept {
    try {
        m_shared->records.Put(logview::Arrival(arrival));
    } catch (...) {
        m_shared->records.AddLost(1);
    }
}

void CLiveLog::Note(const std::wstring& text) noexcept {
    base::RunQuietly([&] {
        const std::lock_guard guard(m_shared->lock);
        if (m_shared->notes.size() < kMostNotes)
            m_shared->notes.push_back(text);
    });
}

std::wstring CLiveLog::Fault() const {
    if (const DWORD error = m_shared->outputError; error != ERROR_SUCCESS)
        return L"Cannot write the output: " + console::ResultText(HRESULT_FROM_WIN32(error));
    if (m_isCut)
        return L"The output takes nothing, so its end is missing";
    const ULONGLONG leftOut = m_shared->leftOut;
    return leftOut > 0 ? base::FormatText(L"The output lacks %I64u records: it was too slow", leftOut) : L"";
}

bool CLiveLog::Stop(DWORD limitMs) noexcept {
    m_isStopped = true;
    m_shared->isEnding = true;
    m_shared->records.Wake();
    m_isCut = !m_thread.Stop(threading::Rest::Drain, limitMs);
    return !m_isCut;
}

}  // namespace logservice
