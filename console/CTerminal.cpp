#include "console/CTerminal.h"

#include "base/Utf8Text.h"
#include "console/CConsole.h"

#include <algorithm>

namespace console {

namespace {

constexpr WORD kBackground = BACKGROUND_RED | BACKGROUND_GREEN | BACKGROUND_BLUE | BACKGROUND_INTENSITY;
constexpr WORD kBright = FOREGROUND_INTENSITY;

// The colour on the background that the person has.
WORD AttributesOf(Tint tint, WORD before) noexcept {
    const WORD background = before & kBackground;
    switch (tint) {
        case Tint::Faint:
            return background == BACKGROUND_INTENSITY ? before : static_cast<WORD>(background | kBright);
        case Tint::Note:
            return background | FOREGROUND_GREEN | FOREGROUND_BLUE | kBright;
        case Tint::Warning:
            return background | FOREGROUND_RED | FOREGROUND_GREEN | kBright;
        case Tint::Error:
            return background | FOREGROUND_RED | kBright;
        case Tint::Fatal:
            return BACKGROUND_RED | FOREGROUND_RED | FOREGROUND_GREEN | FOREGROUND_BLUE | kBright;
        case Tint::Plain:
            break;
    }
    return before;
}

// No fewer than it takes: scripts whose characters are two columns wide begin about here.
std::size_t ColumnsOf(wchar_t c) noexcept {
    return c >= 0x1100 ? 2 : 1;
}

}  // namespace

CTerminal::CTerminal(HANDLE output) noexcept : m_output(output) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    m_isConsole = ::GetConsoleScreenBufferInfo(m_output, &info) != FALSE;
    m_attributes = info.wAttributes;
}

unsigned CTerminal::Height() const noexcept {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!::GetConsoleScreenBufferInfo(m_output, &info))
        return 0;
    return static_cast<unsigned>(std::max(info.srWindow.Bottom - info.srWindow.Top + 1, 1));
}

unsigned CTerminal::Width() const noexcept {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!::GetConsoleScreenBufferInfo(m_output, &info))
        return 0;
    return static_cast<unsigned>(std::max(info.dwSize.X, SHORT{0}));
}

void CTerminal::WriteText(std::wstring_view text) const {
    constexpr std::size_t kMostAtOnce = 8000;  // older consoles take no more than 64 KiB
    DWORD written = 0;
    for (; !text.empty(); text.remove_prefix(written)) {
        const auto count = static_cast<DWORD>(std::min(text.size(), kMostAtOnce));
        if (!::WriteConsoleW(m_output, text.data(), count, &written, nullptr))
            throw COutputError(::GetLastError());
        if (written == 0)
            throw COutputError(ERROR_WRITE_FAULT);
    }
}

void CTerminal::WriteRun(std::wstring_view text, Tint tint) const {
    if (tint == Tint::Plain)
        return WriteText(text);
    // The line's end has the person's own colour: a console may paint the rest of the row with it.
    ::SetConsoleTextAttribute(m_output, AttributesOf(tint, m_attributes));
    try {
        WriteText(text);
    } catch (const COutputError&) {
        ::SetConsoleTextAttribute(m_output, m_attributes);
        throw;
    }
    ::SetConsoleTextAttribute(m_output, m_attributes);
}

void CTerminal::Write(std::span<const TintedLine> lines) {
    if (lines.empty())
        return;
    if (!m_isConsole) {
        std::string bytes;
        for (const TintedLine& line : lines)
            bytes.append(base::Utf8OfWide(line.text)) += '\n';
        return WriteAll(m_output, {reinterpret_cast<const BYTE*>(bytes.data()), bytes.size()});
    }
    Wipe();
    for (auto line = lines.begin(); line != lines.end();) {
        // A console takes few large writes far faster than many small ones.
        std::wstring run = line->text;
        const Tint tint = line->tint;
        for (++line; line != lines.end() && line->tint == tint; ++line)
            run.append(L"\n").append(line->text);
        WriteRun(run, tint);
        WriteText(L"\n");
    }
}

void CTerminal::Status(std::wstring_view text) {
    if (!m_isConsole || text == m_status)
        return;
    Wipe();
    CONSOLE_SCREEN_BUFFER_INFO info{};
    ::GetConsoleScreenBufferInfo(m_output, &info);
    const std::size_t most = std::max<std::size_t>(static_cast<std::size_t>(info.dwSize.X), 2) - 1;
    std::size_t from = text.size(), columns = 0;
    while (from > 0 && columns + ColumnsOf(text[from - 1]) <= most)
        columns += ColumnsOf(text[--from]);
    m_columns = columns;
    m_status = text;
    WriteRun(text.substr(from), Tint::Note);
}

void CTerminal::Wipe() {
    if (m_columns > 0)
        WriteText(L"\r" + std::wstring(m_columns, L' ') + L"\r");
    m_columns = 0;
    m_status.clear();
}

}  // namespace console
