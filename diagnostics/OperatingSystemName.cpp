#include "diagnostics/OperatingSystemName.h"

#include "base/FormatText.h"
#include "diagnostics/LogSite.h"

#include <algorithm>
#include <iterator>

namespace TKRuntimeLogger {
namespace {

using Metric = std::function<int(int)>;

bool Always(const SystemVersion&, const Metric&) {
    return true;
}
bool IsWorkstation(const SystemVersion& version, const Metric&) {
    return version.productType == VER_NT_WORKSTATION;
}
bool IsWorkstationX64(const SystemVersion& version, const Metric& metric) {
    return IsWorkstation(version, metric) && version.architecture == PROCESSOR_ARCHITECTURE_AMD64;
}
bool IsServerR2(const SystemVersion&, const Metric& metric) {
    return metric(SM_SERVERR2) != 0;
}
bool IsNoServerR2(const SystemVersion& version, const Metric& metric) {
    return !IsServerR2(version, metric);
}
// This suite alone, and no other with it.
bool IsHomeServer(const SystemVersion& version, const Metric&) {
    return version.suiteMask == VER_SUITE_WH_SERVER;
}

// The first row that fits names the system. The row of the home server comes after a row that takes every system
// without the "R2" metric, so it is found only on systems with that metric. The order is kept on purpose.
constexpr struct {
    DWORD major;
    DWORD minor;
    bool (*fits)(const SystemVersion&, const Metric&);
    const wchar_t* name;
    bool hasEditions;
} kSystems[] = {
    {5, 0, Always, L"Windows 2000", false},
    {5, 1, Always, L"Windows XP", true},
    {5, 2, IsWorkstationX64, L"Windows XP Professional x64 Edition", false},
    {5, 2, IsNoServerR2, L"Windows Server 2003", false},
    {5, 2, IsHomeServer, L"Windows Home Server", false},
    {5, 2, IsServerR2, L"Windows Server 2003 R2", false},
    {6, 0, IsWorkstation, L"Windows Vista", false},
    {6, 0, Always, L"Windows Server 2008", false},
    {6, 1, IsWorkstation, L"Windows 7", false},
    {6, 1, Always, L"Windows Server 2008 R2", false},
};

// All that apply are appended, in this order.
constexpr struct {
    int metric;
    const wchar_t* suffix;
} kEditions[] = {
    {SM_MEDIACENTER, L" MCE"},
    {SM_STARTER, L" Starter Edition"},
    {SM_TABLETPC, L" Tablet PC Edition"},
};

// IA64 is called 32-bit on purpose: support tools that read these lines match the text.
constexpr struct {
    WORD architecture;
    const wchar_t* suffix;
    const wchar_t* name;
} kArchitectures[] = {
    {PROCESSOR_ARCHITECTURE_AMD64, L" (64bit)", L"x64"},
    {PROCESSOR_ARCHITECTURE_IA64, L" (32bit)", L"IA64"},
    {PROCESSOR_ARCHITECTURE_INTEL, L" (32bit)", L"x86"},
};

}  // namespace

SystemNames NamesOf(const SystemVersion& version, const std::function<int(int)>& metric) {
    SystemNames names;
    const auto system = std::find_if(std::begin(kSystems), std::end(kSystems), [&](const auto& row) {
        return row.major == version.major && row.minor == version.minor && row.fits(version, metric);
    });
    if (system != std::end(kSystems)) {
        names.system = system->name;
        if (system->hasEditions) {
            for (const auto& edition : kEditions)
                names.system += metric(edition.metric) != 0 ? edition.suffix : L"";
        }
    }
    const auto architecture = std::find_if(std::begin(kArchitectures), std::end(kArchitectures),
                                           [&](const auto& row) { return row.architecture == version.architecture; });
    if (architecture != std::end(kArchitectures)) {
        names.system += architecture->suffix;
        names.architecture = architecture->name;
    }
    // Done only now, so an unknown system on a known architecture is named by the suffix alone. The major number also
    // stands in place of the minor one. Both are kept, because support tools match these texts.
    if (names.system.empty())
        names.system = base::FormatText(L"Unknown (%d.%d)", version.major, version.major);
    return names;
}

}  // namespace TKRuntimeLogger
