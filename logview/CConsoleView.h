// The log as a person in front of a console sees it: the lines that pass a filter, as they come, and keys to steer
// them.
//
//   blank         pause; again: go on, with the lines that came meanwhile
//   /  f          a new filter; the same one, to be changed. Enter sets it, Escape leaves it as it was
//   c             no filter
//   p             the profile table
//   h  ?          which keys there are
//   q  Escape     the end
//
// While a pause lasts or a line is typed, lines wait, the newest thousand of them. After another filter has been set,
// the last screenful of what passes it is shown again. Where lines come faster than a console shows them, the oldest
// are left out, and a line says how many. The figures of timing sites are lines only where the filter asks for their
// category.
//
// Writing may take as long as a person marks text in the console or nobody reads the pipe, so no writer of records
// waits for this. When the output can't be written any more, nothing is shown from then on.
// Threads: one.  Errors: std::bad_alloc.
#pragma once

#include "console/CConsole.h"
#include "console/CConsoleKeys.h"
#include "console/CTerminal.h"
#include "logview/CHistory.h"
#include "logview/CRecordFilter.h"
#include "logview/CRecordLines.h"

#include <deque>
#include <functional>
#include <optional>

namespace logview {

class CConsoleView final {
public:
    // What `p` shows: lines of that many characters, with line breaks between. Null: the key does nothing.
    using ProfileTable = std::function<std::wstring(std::size_t width)>;

    // What is done with a line that was typed; empty: with Escape, or with EndPrompt. Returns what is wrong with it:
    // then it is shown, and typing goes on. Empty: nothing, the prompt closes.
    using Answer = std::function<std::wstring(const std::optional<std::wstring>& line)>;

    // `terminal` outlives the view.
    CConsoleView(console::ITerminal& terminal, CRecordFilter filter, ProfileTable profileTable);
    CConsoleView(const CConsoleView&) = delete;
    CConsoleView& operator=(const CConsoleView&) = delete;

    // The next record. It is seen with the next Flush.
    void Take(const Arrival& arrival);

    // A line of the program's own, in its place among the others. It passes every filter.
    void Note(std::wstring_view text);

    // Lines of the program's own at once, above those that a pause or a prompt holds back.
    void Show(std::wstring_view lines);

    // Shows what came. To be called whenever no more arrivals are there, and after keys.
    void Flush();

    // Ends a prompt and a pause, and shows what they held back, and the profile table if it is asked for. Nothing is
    // left of the line below. The last call, but for Failure.
    void Finish(bool showsProfile);

    // False: the person wants an end.
    [[nodiscard]] bool Press(const console::Key& key);

    // Asks for a line, which begins as `line`. False: there is a prompt already, or nobody who could see one.
    [[nodiscard]] bool Ask(std::wstring label, std::wstring line, Answer answer);
    // Closes the prompt as Escape does.
    void EndPrompt();

    [[nodiscard]] const CRecordFilter& Filter() const noexcept { return m_filter; }
    // As if it had been typed.
    void SetFilter(CRecordFilter filter);

    // Why nothing is shown any more. Empty: it is.
    [[nodiscard]] const std::optional<console::COutputError>& Failure() const noexcept { return m_failure; }

private:
    struct Prompt {
        std::wstring label, line;
        Answer answer;
    };

    [[nodiscard]] bool IsHolding() const noexcept { return m_isPaused || m_prompt; }
    [[nodiscard]] CRecordLines::Style Style() const noexcept;
    [[nodiscard]] std::wstring StatusText() const;
    void Hold(console::TintedLine line);
    void AskForFilter(std::wstring line);
    void Type(const console::Key& key);
    void Close(const std::optional<std::wstring>& line);
    void ShowAgain();
    void ShowProfile();
    void WriteHeld();

    // Writes, unless that has failed before.
    template <class Action>
    void OnTerminal(Action&& action);

    console::ITerminal& m_terminal;
    const bool m_isInteractive;
    const ProfileTable m_profileTable;
    CRecordFilter m_filter;
    std::optional<CRecordLines> m_lines;  // made anew where lines are shown again
    CHistory m_history;                   // the newest, whatever the filter
    std::deque<console::TintedLine> m_held;
    std::size_t m_heldCharacters = 0;
    ULONGLONG m_leftOut = 0;  // before the held ones
    bool m_isPaused = false;
    std::optional<Prompt> m_prompt;
    std::optional<console::COutputError> m_failure;
};

}  // namespace logview
