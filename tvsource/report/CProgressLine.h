// Shows how far something is: one line on standard error, which is drawn again and again and wiped in the end.
//
//   [#######             ]  37%  0:04 of 0:11, 1.3 MB, 2.1 MB/s
//
// Threads: one, but for the static functions.  Lifetime: one object at a time; its end wipes the line.
// Errors: none; a line that can't be written is not seen.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <string_view>

namespace tvsource {

class CProgressLine final {
public:
    // Without `shown` nothing is ever drawn.
    explicit CProgressLine(bool shown);
    CProgressLine(const CProgressLine&) = delete;
    CProgressLine& operator=(const CProgressLine&) = delete;
    ~CProgressLine();

    // Draws the line anew, at most five times a second while it stands. The bar shows `done` of `total`, in any unit; a
    // total of 0 is not known and has no bar. `note` stands before the bytes that have been moved so far and their
    // rate, which is that of the last second or so.
    void Show(ULONGLONG done, ULONGLONG total, std::wstring_view note, ULONGLONG bytes);

    // The same with a line of any text.
    void ShowText(std::wstring_view text);

    // Wipes what is there, for other words on the terminal. The line comes back when it is shown next.
    static void Wipe();
    // The same, and writes the other words; nothing is drawn meanwhile.
    static void Beside(const std::function<void()>& write);
    // The same with words for standard error, as console::Complain.
    static void Complain(std::wstring_view text);

    // Wipes what is there and keeps anything more from being drawn: a thread that draws waits for ever. For the end of
    // the process, from any thread.
    static void WipeForGood() noexcept;

private:
    [[nodiscard]] bool IsDue(ULONGLONG now);

    const bool m_shown;
    ULONGLONG m_drawnMs = 0;  // when the line was drawn

    // The rate, and since when and from which count on it is measured.
    ULONGLONG m_sinceMs;
    ULONGLONG m_sinceBytes = 0;
    ULONGLONG m_bytesPerSecond = 0;
    bool m_measured = false;  // for a whole interval
};

}  // namespace tvsource
