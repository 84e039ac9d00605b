#include "tvsource/report/CProgressLine.h"

#include "base/CSlimLock.h"
#include "base/FormatText.h"
#include "console/CConsole.h"
#include "tvsource/report/NetworkText.h"

#include <algorithm>
#include <mutex>

namespace tvsource {

namespace {

constexpr ULONGLONG kRedrawMs = 200;
constexpr ULONGLONG kRateMs = 1000;

base::CSlimLock g_lock;  // held while the line is written
size_t g_width = 0;      // of what stands there

void WipeLocked() {
    if (g_width > 0)
        console::Complain(L"\r" + std::wstring(g_width, L' ') + L"\r");
    g_width = 0;
}

void Draw(std::wstring line) {
    const std::lock_guard lock(g_lock);
    const size_t width = line.size();
    line.resize(std::max(width, g_width), L' ');
    g_width = width;
    console::Complain(L"\r" + line);
}

std::wstring Bar(ULONGLONG done, ULONGLONG total) {
    constexpr size_t kWidth = 20;
    const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    const auto filled = static_cast<size_t>(share * static_cast<double>(kWidth));
    return L"[" + std::wstring(filled, L'#') + std::wstring(kWidth - filled, L' ') +
           base::FormatText(L"] %3d%%  ", static_cast<int>(share * 100));
}

}  // namespace

CProgressLine::CProgressLine(bool shown) : m_shown(shown), m_sinceMs(::GetTickCount64()) {}

CProgressLine::~CProgressLine() {
    Wipe();
}

void CProgressLine::Wipe() {
    const std::lock_guard lock(g_lock);
    WipeLocked();
}

void CProgressLine::Beside(const std::function<void()>& write) {
    const std::lock_guard lock(g_lock);
    WipeLocked();
    write();
}

void CProgressLine::Complain(std::wstring_view text) {
    Beside([&] { console::Complain(text); });
}

void CProgressLine::Show(ULONGLONG done, ULONGLONG total, std::wstring_view note, ULONGLONG bytes) {
    const ULONGLONG now = ::GetTickCount64();
    if (!IsDue(now))
        return;
    const ULONGLONG elapsed = std::max(now - m_sinceMs, 1ULL);
    const bool whole = elapsed >= kRateMs;
    if (whole || !m_measured)
        m_bytesPerSecond =
            static_cast<ULONGLONG>(static_cast<double>(bytes - m_sinceBytes) * 1000 / static_cast<double>(elapsed));
    if (whole) {
        m_sinceMs = now;
        m_sinceBytes = bytes;
        m_measured = true;
    }

    std::wstring line = total > 0 ? Bar(done, total) : std::wstring();
    if (!note.empty())
        line.append(note) += L", ";
    line += AmountText(bytes) + L", " + AmountText(m_bytesPerSecond) + L"/s";
    Draw(std::move(line));
}

void CProgressLine::ShowText(std::wstring_view text) {
    if (IsDue(::GetTickCount64()))
        Draw(std::wstring(text));
}

bool CProgressLine::IsDue(ULONGLONG now) {
    const std::lock_guard lock(g_lock);
    if (!m_shown || (g_width > 0 && now - m_drawnMs < kRedrawMs))
        return false;
    m_drawnMs = now;
    return true;
}

void CProgressLine::WipeForGood() noexcept {
    // Somebody may have stopped the terminal's output, and with it the thread that draws. That thread is not waited
    // for.
    constexpr int kAttempts = 20;
    constexpr DWORD kPauseMs = 5;
    std::unique_lock lock(g_lock, std::try_to_lock);
    for (int i = 0; i < kAttempts && !lock.owns_lock(); ++i) {
        ::Sleep(kPauseMs);
        static_cast<void>(lock.try_lock());
    }
    if (!lock.owns_lock())
        return;
    lock.release();
    try {
        WipeLocked();
    } catch (const std::bad_alloc&) {
        // The line stays.
    }
}

}  // namespace tvsource
