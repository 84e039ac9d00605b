#include "tvsource/report/CWaitLine.h"

#include "base/ComBoundary.h"
#include "tvsource/report/CProgressLine.h"

namespace tvsource {

namespace {

constexpr DWORD kPatienceMs = 500;

void Draw(HANDLE over, const std::wstring& words) {
    if (::WaitForSingleObject(over, kPatienceMs) != WAIT_TIMEOUT)
        return;
    CProgressLine line(true);
    line.ShowText(words + L" ...");
    ::WaitForSingleObject(over, INFINITE);
}

}  // namespace

CWaitLine::CWaitLine(bool shown, const std::wstring& words) noexcept {
    if (!shown || !m_over)
        return;
    base::RunQuietly([&] {
        static_cast<void>(m_thread.Start([over = m_over.Get(), words] {
            base::RunQuietly([&] { Draw(over, words); });
            return 0;
        }));
    });
}

CWaitLine::~CWaitLine() {
    ::SetEvent(m_over.Get());
    m_thread.Join(INFINITE);  // it draws no more
}

}  // namespace tvsource
