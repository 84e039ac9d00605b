// The keys that are pressed in the console, where standard input is one, without waiting for them and without Enter.
// Ctrl+C stays what it is.
//
// Threads: one.  Lifetime: its end leaves the console as it was.  Errors: none; without a console no keys come.
#pragma once

#include <windows.h>

#include <vector>

namespace console {

// A key that was pressed. A program that reads keys looks at `code`, one that reads text at `character`.
struct Key {
    WORD code = 0;          // the virtual key; 0: text that no single key stands for
    wchar_t character = 0;  // as the keyboard's layout has it; 0: none. One half of a surrogate pair at a time.

    bool operator==(const Key&) const = default;
};

class CConsoleKeys final {
public:
    CConsoleKeys() noexcept;
    CConsoleKeys(const CConsoleKeys&) = delete;
    CConsoleKeys& operator=(const CConsoleKeys&) = delete;
    ~CConsoleKeys();

    // Signalled while there may be keys to take. Null: there is no console.
    [[nodiscard]] HANDLE Handle() const noexcept { return m_input; }

    // The keys that have been pressed since the last call.
    [[nodiscard]] std::vector<Key> Take();

private:
    HANDLE m_input = nullptr;
    DWORD m_mode = 0;
};

}  // namespace console
