// Lines in colour, and below them one line that is drawn anew in its place (a prompt, say), on a console; the same
// lines without colour, and no such line, in a file or pipe.
//
// Texts have gone through Printable (Text.h) if they came from outside.
// Threads: one.  Errors: COutputError.
#pragma once

#include <windows.h>

#include <span>
#include <string>
#include <string_view>

namespace console {

// What a line is, for its colour.
enum class Tint { Plain, Faint, Note, Warning, Error, Fatal };

struct TintedLine {
    std::wstring text;  // without a line break
    Tint tint = Tint::Plain;

    bool operator==(const TintedLine&) const = default;
};

// What lines are written to.
class ITerminal {
public:
    virtual ~ITerminal() = default;

    // Whether somebody sees it as it comes: then it has colours, a size, and the line below.
    [[nodiscard]] virtual bool IsInteractive() const noexcept = 0;

    // How many lines are to be seen at once, and how many columns they have; 0: not known.
    [[nodiscard]] virtual unsigned Height() const noexcept = 0;
    [[nodiscard]] virtual unsigned Width() const noexcept = 0;

    // Writes the lines above the one that is drawn anew, which comes back with the next Status only.
    virtual void Write(std::span<const TintedLine> lines) = 0;

    // Draws the line anew, with the cursor behind it; of what is too long, the end is shown. Empty: wipes it.
    virtual void Status(std::wstring_view text) = 0;
};

class CTerminal final : public ITerminal {
public:
    // A console, file or pipe that stays open; null or no such thing: every write fails.
    explicit CTerminal(HANDLE output) noexcept;
    CTerminal(const CTerminal&) = delete;
    CTerminal& operator=(const CTerminal&) = delete;

    // ITerminal
    [[nodiscard]] bool IsInteractive() const noexcept override { return m_isConsole; }
    [[nodiscard]] unsigned Height() const noexcept override;
    [[nodiscard]] unsigned Width() const noexcept override;
    void Write(std::span<const TintedLine> lines) override;
    void Status(std::wstring_view text) override;

private:
    void WriteText(std::wstring_view text) const;
    void WriteRun(std::wstring_view text, Tint tint) const;
    void Wipe();

    const HANDLE m_output;
    bool m_isConsole = false;
    WORD m_attributes = 0;      // as they were
    std::wstring m_status;      // as it stands there
    std::size_t m_columns = 0;  // that it takes
};

}  // namespace console
