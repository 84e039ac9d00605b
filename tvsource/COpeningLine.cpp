#include "tvsource/COpeningLine.h"

#include "base/ComBoundary.h"
#include "tvsource/CProgressLine.h"

namespace tvsource {

namespace {

constexpr DWORD kPatienceMs = 500;

void Draw(HANDLE over) {
    if (::WaitForSingleObject(over, kPatienceMs) != WAIT_TIMEOUT)
        return;
    CProgressLine line(true);
    line.ShowText(L"opening ...");
    ::WaitForSingleObject(over, INFINITE);
}

}  // namespace

COpeningLine::COpeningLine(bool shown) noexcept {
    if (!shown || !m_over)
        return;
    base::RunQuietly([&] {
        static_cast<void>(m_thread.Start([over = m_over.Get()] {
            base::RunQuietly([&] { Draw(over); });
            return 0;
        }));
    });
}

COpeningLine::~COpeningLine() {
    ::SetEvent(m_over.Get());
    m_thread.Join(INFINITE);  // it draws no more
}

}  // namespace tvsource
