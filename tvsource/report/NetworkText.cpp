#include "tvsource/report/NetworkText.h"

#include "base/FormatText.h"
#include "console/Text.h"

#include <iterator>

namespace tvsource {

std::wstring AmountText(unsigned long long bytes) {
    constexpr const wchar_t* kUnits[] = {L"kB", L"MB", L"GB", L"TB"};
    if (bytes < 1000)
        return base::FormatText(L"%I64u B", bytes);
    const wchar_t* const* unit = kUnits;
    double amount = static_cast<double>(bytes) / 1000;
    for (; amount >= 1000 && unit + 1 != std::end(kUnits); ++unit)
        amount /= 1000;
    return base::FormatText(L"%.1f %s", amount, *unit);
}

std::wstring BufferingText(const std::optional<TKDS_SOURCE_STATUS>& status) {
    if (!status)
        return {};
    if (status->wanted == 0)
        return AmountText(status->ahead) + L" ahead";
    const double whole = static_cast<double>(status->ahead) + static_cast<double>(status->wanted);
    const int percent = static_cast<int>(100 * static_cast<double>(status->ahead) / whole);
    return base::FormatText(L"buffering %d%% at ", percent) + AmountText(status->bytesPerSecond) + L"/s";
}

std::wstring NetworkText(const std::optional<TKDS_SOURCE_STATUS>& status) {
    if (!status)
        return {};
    return L"Network  " + console::CountText(static_cast<LONGLONG>(status->requests), L"request") + L", " +
           console::CountText(static_cast<LONGLONG>(status->received), L"byte") +
           base::FormatText(L", %I64u of them again; ", status->receivedAgain) +
           console::CountText(static_cast<LONGLONG>(status->stalls), L"stall") +
           base::FormatText(L", longest wait %.2f s", static_cast<double>(status->longestWait) / 1000);
}

}  // namespace tvsource
