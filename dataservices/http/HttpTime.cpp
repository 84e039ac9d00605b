#include "dataservices/http/HttpTime.h"

#include <winhttp.h>

namespace dataservices::http {

FILETIME FileTimeOf(const std::wstring& header) noexcept {
    SYSTEMTIME time{};
    FILETIME fileTime{};
    if (!header.empty() && ::WinHttpTimeToSystemTime(header.c_str(), &time) &&
        !::SystemTimeToFileTime(&time, &fileTime))
        fileTime = {};
    return fileTime;
}

}  // namespace dataservices::http
