#include "tvsource/report/CActivity.h"

#include "tvsource/report/CProgressLine.h"

namespace tvsource {

namespace {

constexpr TKRuntimeLogger::LogSource kLog{L"tvsource", L"tvsource"};
constexpr DWORD kLimitMs = 5000;

void Tell(const std::wstring& message) {
    CProgressLine::Complain(L"tvsource: " + message + L"\n");
}

}  // namespace

CActivity::CActivity(const wchar_t* function, const std::wstring& words, bool verbose) noexcept
    : m_detector(
          kLog, __LINE__, function, kLimitMs, [&] { return words; }, verbose ? Tell : nullptr) {}

}  // namespace tvsource
