#include "tvsource/CConsole.h"

#include <windows.h>

#include <algorithm>

#include "tvsource/Text.h"

namespace {

bool IsConsole(HANDLE handle) {
    DWORD mode = 0;
    return ::GetConsoleMode(handle, &mode) != FALSE;
}

void Write(DWORD standardHandle, std::wstring_view text) {
    const HANDLE handle = ::GetStdHandle(standardHandle);
    DWORD written = 0;
    if (IsConsole(handle)) {
        ::WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        return;
    }
    const std::string bytes = ToUtf8(text);
    ::WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

}  // namespace

void Print(std::wstring_view text) {
    Write(STD_OUTPUT_HANDLE, text);
}

void Complain(std::wstring_view text) {
    Write(STD_ERROR_HANDLE, text);
}

CProgressLine::CProgressLine() : m_terminal(IsConsole(::GetStdHandle(STD_ERROR_HANDLE))) {}

CProgressLine::~CProgressLine() {
    if (m_width > 0)
        Complain(L"\r" + std::wstring(m_width, L' ') + L"\r");
}

void CProgressLine::Show(std::wstring_view text) {
    if (!m_terminal)
        return;
    std::wstring line = L"\r";
    line += text;
    if (text.size() < m_width)
        line.append(m_width - text.size(), L' ');
    m_width = text.size();
    Complain(line);
}

std::wstring CProgressLine::Bar(unsigned long long done, unsigned long long total) {
    constexpr size_t kWidth = 30;
    const double share = total ? std::min(1.0, static_cast<double>(done) / static_cast<double>(total)) : 0.0;
    const auto filled = static_cast<size_t>(share * static_cast<double>(kWidth));
    return L"[" + std::wstring(filled, L'#') + std::wstring(kWidth - filled, L' ') +
           Format(L"] %3d%%", static_cast<int>(share * 100));
}
