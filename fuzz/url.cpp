// URLs as http requests need them. The input's first line is a URL, and the rest is the reference of a redirect.
#include "dataservices/http/CHttpUrl.h"
#include "fuzz/Fuzz.h"

#include <algorithm>

using dataservices::http::CHttpUrl;

namespace {

// Whether no character would end a request's line or header, or depends on an encoding.
[[nodiscard]] bool CanBeSent(const std::wstring& text) {
    return std::all_of(text.begin(), text.end(), [](wchar_t unit) { return unit >= L' ' && unit < 0x7F; });
}

void Check(const CHttpUrl& url) {
    Require(CanBeSent(url.Host()) && !url.Host().empty() && url.Port() != 0);
    Require(CanBeSent(url.Target()) && url.Target().starts_with(L'/') && url.Target().find(L' ') == std::wstring::npos);
    Require(CanBeSent(url.Authorization()));
    const auto printed = CHttpUrl::Parse(url.Printable().c_str());
    Require(printed && printed->Host() == url.Host() && printed->Port() == url.Port());
    Require(printed->IsSecure() == url.IsSecure() && printed->Authorization().empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring input = WideOf({data, size});
    const size_t end = std::min(input.find(L'\n'), input.size());
    const auto url = CHttpUrl::Parse(input.substr(0, end).c_str());
    if (!url)
        return 0;
    Check(*url);
    const std::wstring reference = input.substr(std::min(end + 1, input.size()));
    if (const auto target = url->Resolve(reference)) {
        Check(*target);
        Require(target->IsSecure() || !url->IsSecure());
        const bool isElsewhere = target->Port() != url->Port() || target->IsSecure() != url->IsSecure();
        const bool hasOwn = reference.find(L'@') != reference.npos;
        Require(!isElsewhere || hasOwn || target->Authorization().empty());
    }
    return 0;
}
