#include "dataservices/http/CHttpHeaders.h"

#include "base/AsciiText.h"

#include <algorithm>

namespace dataservices::http {

std::wstring CHttpHeaders::First(std::wstring_view name) const {
    const auto values = All(name);
    return values.empty() ? std::wstring() : values.front();
}

std::vector<std::wstring> CHttpHeaders::All(std::wstring_view name) const {
    std::vector<std::wstring> values;
    for (std::wstring_view left = m_lines; !left.empty();) {
        std::wstring_view line = left.substr(0, left.find(L'\n'));
        left.remove_prefix(std::min(line.size() + 1, left.size()));
        if (line.ends_with(L'\r'))
            line.remove_suffix(1);
        const size_t colon = line.find(L':');
        if (colon != line.npos && base::EqualsIgnoringAsciiCase(line.substr(0, colon), name))
            values.emplace_back(base::Trimmed(line.substr(colon + 1)));
    }
    return values;
}

}  // namespace dataservices::http
