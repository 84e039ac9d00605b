#include "logservice/Open.h"

#include "console/CCommandError.h"
#include "console/CConsole.h"
#include "console/CConsoleKeys.h"
#include "console/CTerminal.h"
#include "logservice/CLogBook.h"
#include "logview/CConsoleView.h"
#include "logview/CRecordingReader.h"

#include <utility>

namespace logservice {

namespace {

constexpr std::size_t kTableWidth = 120;

// Until the person wants an end.
void TakeKeys(logview::CConsoleView& view) {
    console::CConsoleKeys keys;
    while (keys.Handle() && ::WaitForSingleObject(keys.Handle(), INFINITE) == WAIT_OBJECT_0) {
        for (const console::Key& key : keys.Take()) {
            if (!view.Press(key))
                return;
        }
        view.Flush();
        if (view.Failure())
            return;
    }
}

}  // namespace

int Open(const Options& options) {
    logview::CRecordingReader reader(options.open);
    for (const std::wstring& note : reader.Notes())
        console::Complain(L"TKRuntimeLogger: " + note + L"\n");
    CLogBook book(options, [](const std::wstring& text) { console::Complain(L"TKRuntimeLogger: " + text + L"\n"); });
    console::CTerminal terminal(::GetStdHandle(STD_OUTPUT_HANDLE));
    logview::CConsoleView view(terminal, logview::CRecordFilter::Parse(options.filter),
                               [&book] { return book.ProfileText(kTableWidth); });
    constexpr int kAtOnce = 500;
    int waiting = 0;
    for (logview::Arrival arrival; reader.Next(arrival); arrival = {}) {
        if (options.showsLines) {
            view.Take(arrival);
            if (++waiting % kAtOnce == 0)
                view.Flush();
        }
        book.Take(std::move(arrival));
    }
    view.Flush();
    book.Finish();
    if (options.showsLines && terminal.IsInteractive())
        TakeKeys(view);
    if (view.Failure())
        throw *view.Failure();
    return 0;
}

}  // namespace logservice
