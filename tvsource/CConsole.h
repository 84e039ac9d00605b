// Where the program's words go: as UTF-16 to a console, as UTF-8 to a file or pipe.
//
// Threads: one.  Errors: none; a program that can't say something goes on.
#pragma once

#include <string>
#include <string_view>

// To standard output, for what was asked for.
void Print(std::wstring_view text);

// To standard error, for what a person should know beside it.
void Complain(std::wstring_view text);

// One line on standard error that is written over again and again, and gone in the end. Nothing is shown unless
// standard error is a terminal.
class CProgressLine final {
public:
    CProgressLine();
    CProgressLine(const CProgressLine&) = delete;
    CProgressLine& operator=(const CProgressLine&) = delete;
    ~CProgressLine();

    // Whether a person sees it.
    [[nodiscard]] bool IsShown() const noexcept { return m_terminal; }

    // Replaces the line.
    void Show(std::wstring_view text);

    // A bar such as "[#####     ]  50%".  `total` 0 gives an empty bar.
    [[nodiscard]] static std::wstring Bar(unsigned long long done, unsigned long long total);

private:
    bool m_terminal;
    size_t m_width = 0;  // of what stands there now
};
