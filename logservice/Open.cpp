#include "logservice/Open.h"

#include "base/LongPath.h"
#include "console/CCommandError.h"
#include "console/CConsoleKeys.h"
#include "console/CTerminal.h"
#include "console/Text.h"
#include "logservice/CLogBook.h"
#include "logservice/Serve.h"
#include "logservice/Tell.h"
#include "logview/CConsoleView.h"
#include "logview/CRecordingReader.h"

#include <utility>

namespace logservice {

namespace {

// A recording that is read can't be written to: its oldest parts would go while they are read.
void CheckApart(const Options& options) {
    if (options.record.empty())
        return;
    const std::wstring folder = base::FullPathOf(options.record);
    for (const std::wstring& path : options.open) {
        const std::wstring opened = base::FullPathOf(path);
        const bool isInside = opened.size() > folder.size() && opened[folder.size()] == L'\\';
        if (::CompareStringOrdinal(opened.c_str(), static_cast<int>(isInside ? folder.size() : opened.size()),
                                   folder.c_str(), static_cast<int>(folder.size()), TRUE) == CSTR_EQUAL)
            throw console::CCommandError(L"Cannot record into " + console::Printable(options.record) +
                                         L", which is opened as well");
    }
}

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
    CheckApart(options);
    logview::CRecordingReader reader(options.open);
    CLogBook book(options);
    Tell(reader.Notes());
    console::CTerminal terminal(::GetStdHandle(STD_OUTPUT_HANDLE));
    logview::CConsoleView view(terminal, options.filter,
                               [&book](std::size_t width) { return book.ProfileText(width); });
    const auto endSessions = [&] {
        for (const logview::ProcessEnd& end : reader.TakeEnds())
            book.Ended(end.processId, end.time);
    };
    constexpr int kAtOnce = 500;
    int waiting = 0;
    for (logview::Arrival arrival; reader.Next(arrival); arrival = {}) {
        endSessions();
        if (options.showsLines)
            view.Take(arrival);
        book.Take(std::move(arrival));
        if (++waiting % kAtOnce == 0) {
            view.Flush();
            book.Flush();
        }
    }
    endSessions();
    view.Flush();
    const bool isWhole = book.Finish();
    Tell(book.TakeNotes());
    if (options.showsLines && terminal.IsInteractive())
        TakeKeys(view);
    view.Finish(options.showsLines && !terminal.IsInteractive());
    // Who closes a pipe has read enough.
    if (view.Failure() && !view.Failure()->IsClosedPipe())
        throw *view.Failure();
    return isWhole ? 0 : kFailed;
}

}  // namespace logservice
