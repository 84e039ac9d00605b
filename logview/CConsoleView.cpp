#include "logview/CConsoleView.h"

#include "base/FormatText.h"
#include "base/Utf8Text.h"
#include "console/CCommandError.h"
#include "console/Text.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace logview {

namespace {

constexpr std::size_t kMostHeld = 1000, kMostHeldCharacters = 4'000'000;
constexpr std::size_t kMostRemembered = 2000, kMostRememberedBytes = 8'000'000;
constexpr std::size_t kMostCharacters = 1000;  // of a text on a console
constexpr std::size_t kMostTyped = 1000;
constexpr wchar_t kEraseLine = 0x15;  // Ctrl+U

constexpr wchar_t kKeys[] =
    L"Keys: blank pause, / new filter, f change the filter, c no filter, p profile, h this, q or Escape end";
constexpr wchar_t kFilterHelp[] =
    L"severity= category= process= thread= function= text=, ! before a value excludes; Enter sets it, Escape leaves it";

std::wstring FilterText(const CRecordFilter& filter) {
    return filter.IsEmpty() ? L"none" : filter.Text();
}

}  // namespace

CConsoleView::CConsoleView(console::ITerminal& terminal, CRecordFilter filter, ProfileTable profileTable)
    : m_terminal(terminal),
      m_isInteractive(terminal.IsInteractive()),
      m_profileTable(std::move(profileTable)),
      m_filter(std::move(filter)),
      m_history(kMostRemembered, kMostRememberedBytes) {
    m_lines.emplace(Style());
}

CRecordLines::Style CConsoleView::Style() const noexcept {
    return {.mostCharacters = m_isInteractive ? kMostCharacters : std::wstring::npos};
}

template <class Action>
void CConsoleView::OnTerminal(Action&& action) {
    if (m_failure)
        return;
    try {
        action();
    } catch (const console::COutputError& error) {
        m_failure = error;
        m_held.clear();
        m_history.Clear();
    }
}

void CConsoleView::Take(const Arrival& arrival) {
    if (m_failure)
        return;
    if (m_isInteractive)
        m_history.Take(arrival);
    if (m_filter.IsLine(arrival))
        Hold(m_lines->Next(arrival));
}

void CConsoleView::Note(std::wstring_view text) {
    if (m_failure)
        return;
    m_lines->Interrupt();
    Hold({console::Printable(text), console::Tint::Note});
}

void CConsoleView::Hold(console::TintedLine line) {
    m_heldCharacters += line.text.size();
    m_held.push_back(std::move(line));
    const auto isFull = [this] { return m_held.size() > kMostHeld || m_heldCharacters > kMostHeldCharacters; };
    // A file or pipe gets all.
    if (!m_isInteractive && isFull())
        return OnTerminal([&] { WriteHeld(); });
    while (m_held.size() > 1 && isFull()) {
        m_heldCharacters -= m_held.front().text.size();
        m_held.pop_front();
        ++m_leftOut;
    }
}

void CConsoleView::Flush() {
    OnTerminal([&] {
        if (!IsHolding())
            WriteHeld();
        m_terminal.Status(StatusText());
    });
}

void CConsoleView::Finish(bool showsProfile) {
    if (m_prompt)
        Close(std::nullopt);
    m_prompt.reset();
    m_isPaused = false;
    if (showsProfile)
        ShowProfile();
    Flush();
}

void CConsoleView::WriteHeld() {
    std::vector<console::TintedLine> lines;
    if (const ULONGLONG count = std::exchange(m_leftOut, 0))
        lines.push_back({L"... " + console::CountText(static_cast<LONGLONG>(count), L"line") + L" left out here ...",
                         console::Tint::Note});
    std::ranges::move(m_held, std::back_inserter(lines));
    m_held.clear();
    m_heldCharacters = 0;
    m_terminal.Write(lines);
}

void CConsoleView::Show(std::wstring_view lines) {
    std::vector<console::TintedLine> list;
    while (!lines.empty()) {
        const std::size_t end = std::min(lines.find(L'\n'), lines.size());
        list.push_back({console::Printable(lines.substr(0, end)), console::Tint::Note});
        lines.remove_prefix(std::min(end + 1, lines.size()));
    }
    m_lines->Interrupt();
    OnTerminal([&] {
        if (!IsHolding())
            WriteHeld();
        m_terminal.Write(list);
    });
}

std::wstring CConsoleView::StatusText() const {
    if (m_prompt)
        return m_prompt->label + console::Printable(m_prompt->line);
    if (!m_isPaused)
        return {};
    return L"Paused, " + console::CountText(static_cast<LONGLONG>(m_held.size()), L"line") + L" waiting" +
           (m_leftOut > 0 ? base::FormatText(L", %I64u before left out", m_leftOut) : L"") + L"; blank goes on ";
}

bool CConsoleView::Press(const console::Key& key) {
    if (m_prompt) {
        Type(key);
        Flush();
        return true;
    }
    const wchar_t character = key.character >= L'A' && key.character <= L'Z'
                                  ? static_cast<wchar_t>(key.character - L'A' + L'a')
                                  : key.character;
    if (key.code == VK_ESCAPE || character == L'q')
        return false;
    switch (character) {
        case L' ':
            m_isPaused = m_isInteractive && !m_isPaused;  // nobody would see it elsewhere
            break;
        case L'/':
            AskForFilter({});
            break;
        case L'f':
            AskForFilter(m_filter.Text());
            break;
        case L'c':
            SetFilter({});
            break;
        case L'p':
            ShowProfile();
            break;
        case L'h':
        case L'?':
            Show(kKeys);
            break;
        default:
            return true;
    }
    Flush();
    return true;
}

void CConsoleView::ShowProfile() {
    if (!m_profileTable)
        return;
    constexpr std::size_t kOfFiles = 120;
    const std::size_t width = m_terminal.Width();
    // Older consoles begin another line behind one that takes the whole width.
    Show(m_profileTable(m_isInteractive && width > 1 ? width - 1 : kOfFiles));
}

void CConsoleView::AskForFilter(std::wstring line) {
    if (!m_isInteractive)
        return;
    Show(L"Filter now: " + FilterText(m_filter) + L"\n" + kFilterHelp);
    static_cast<void>(Ask(L"Filter: ", std::move(line), [this](const std::optional<std::wstring>& typed) {
        if (!typed)
            return std::wstring();
        try {
            SetFilter(CRecordFilter::Parse(*typed));
            return std::wstring();
        } catch (const console::CCommandError& error) {
            return error.Text();
        }
    }));
}

bool CConsoleView::Ask(std::wstring label, std::wstring line, Answer answer) {
    if (m_prompt || !m_isInteractive || m_failure)
        return false;
    if (!m_isPaused)
        OnTerminal([&] { WriteHeld(); });
    m_prompt = {console::Printable(label), std::move(line), std::move(answer)};
    Flush();
    return true;
}

void CConsoleView::EndPrompt() {
    if (m_prompt)
        Close(std::nullopt);
    Flush();
}

void CConsoleView::Type(const console::Key& key) {
    std::wstring& line = m_prompt->line;
    switch (key.code) {
        case VK_RETURN:
            return Close(line);
        case VK_ESCAPE:
            return Close(std::nullopt);
        case VK_BACK:
            if (line.size() > 1 && base::IsLowSurrogate(line.back()) && base::IsHighSurrogate(line[line.size() - 2]))
                line.pop_back();
            if (!line.empty())
                line.pop_back();
            return;
        default:
            break;
    }
    if (key.character == kEraseLine)
        line.clear();
    else if (key.character >= L' ' && key.character != 0x7F && line.size() < kMostTyped)
        line += key.character;
}

void CConsoleView::Close(const std::optional<std::wstring>& line) {
    // The answer may open another prompt, or show lines as they are shown without one.
    Prompt prompt = *std::exchange(m_prompt, std::nullopt);
    const std::wstring complaint = prompt.answer(line);
    if (complaint.empty() || !line)
        return;
    m_prompt = std::move(prompt);
    Show(complaint);
}

void CConsoleView::SetFilter(CRecordFilter filter) {
    m_filter = std::move(filter);
    ShowAgain();
}

void CConsoleView::ShowAgain() {
    if (!m_isInteractive || m_failure)
        return;
    constexpr unsigned kAround = 2;  // lines that are no records: the heading, and the one below
    const unsigned height = m_terminal.Height();
    const std::size_t most = height > kAround ? height - kAround : 1;
    std::vector<const Arrival*> last;
    for (auto each = m_history.All().rbegin(); each != m_history.All().rend() && last.size() < most; ++each) {
        if (m_filter.IsLine(*each))
            last.push_back(&*each);
    }
    // The records that wait are among these, or older than they are.
    std::erase_if(m_held, [](const console::TintedLine& line) { return line.tint != console::Tint::Note; });
    m_heldCharacters = 0;
    for (const console::TintedLine& line : m_held)
        m_heldCharacters += line.text.size();
    m_leftOut = 0;
    m_lines.emplace(Style());
    std::vector<console::TintedLine> lines{
        {L"--- Filter: " + console::Printable(FilterText(m_filter)) +
             base::FormatText(L"; of what came before, the last %I64u: ---", static_cast<ULONGLONG>(last.size())),
         console::Tint::Note}};
    for (auto each = last.rbegin(); each != last.rend(); ++each)
        lines.push_back(m_lines->Next(**each));
    OnTerminal([&] { m_terminal.Write(lines); });
}

}  // namespace logview
