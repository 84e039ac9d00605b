#include "tvsource/report/NetworkText.h"

#include "base/FormatText.h"

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
    return base::FormatText(L"Network  %I64u %s, %I64u bytes, %I64u of them again; %I64u %s, longest wait %.2f s",
                            status->requests, status->requests == 1 ? L"request" : L"requests", status->received,
                            status->receivedAgain, status->stalls, status->stalls == 1 ? L"stall" : L"stalls",
                            static_cast<double>(status->longestWait) / 1000);
}

}  // namespace tvsource
