#include "console/CConsoleKeys.h"

#include <algorithm>
#include <iterator>

namespace console {

CConsoleKeys::CConsoleKeys() noexcept {
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    if (!::GetConsoleMode(input, &m_mode))
        return;
    m_input = input;
    // Otherwise an arrow may come as the Escape key and letters.
    ::SetConsoleMode(m_input, m_mode & ~static_cast<DWORD>(ENABLE_VIRTUAL_TERMINAL_INPUT));
}

CConsoleKeys::~CConsoleKeys() {
    if (m_input)
        ::SetConsoleMode(m_input, m_mode);
}

std::vector<Key> CConsoleKeys::Take() {
    std::vector<Key> keys;
    INPUT_RECORD records[32];
    // No more than are there: a read would wait for others.
    for (DWORD there = 0; m_input && ::GetNumberOfConsoleInputEvents(m_input, &there) && there > 0;) {
        DWORD count = 0;
        if (!::ReadConsoleInputW(m_input, records, std::min<DWORD>(there, std::size(records)), &count))
            break;
        for (DWORD i = 0; i < count; ++i) {
            const KEY_EVENT_RECORD& key = records[i].Event.KeyEvent;
            if (records[i].EventType != KEY_EVENT)
                continue;
            if (key.bKeyDown)
                keys.push_back({key.wVirtualKeyCode, key.uChar.UnicodeChar});
            else if (key.wVirtualKeyCode == VK_MENU && key.uChar.UnicodeChar != 0)
                keys.push_back({0, key.uChar.UnicodeChar});  // typed as a number, or pasted: it comes as Alt goes up
        }
    }
    return keys;
}

}  // namespace console
