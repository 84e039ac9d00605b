#include "tvsource/COpeningLine.h"

#include "tvsource/CProgressLine.h"

#include <exception>

namespace tvsource {

namespace {

constexpr DWORD kPatienceMs = 500;

void Draw(HANDLE over) {
    try {
        CProgressLine line(true);
        line.ShowText(L"opening ...");
        ::WaitForSingleObject(over, INFINITE);
    } catch (const std::exception&) {
        // The line isn't there, or stays.
    }
}

}  // namespace

COpeningLine::COpeningLine(bool shown) noexcept : m_late(kPatienceMs, shown ? Draw : nullptr) {}

}  // namespace tvsource
