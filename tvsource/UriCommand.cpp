#include "framework/uri/NameForLog.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/Commands.h"
#include "tvsource/Text.h"

namespace tvsource {

namespace {

const wchar_t* InWords(TKFURI_HOSTNAME_TYPE type) {
    switch (type) {
        case TKFURI_HOSTNAME_REGISTERED_NAME:
            return L"registered name";
        case TKFURI_HOSTNAME_IPV4:
            return L"IPv4 address";
        case TKFURI_HOSTNAME_IPV6:
            return L"IPv6 address";
        case TKFURI_HOSTNAME_UNC_SERVER:
            return L"UNC server";
        default:
            return L"none";
    }
}

// A part that is not there is shown as its label alone.
std::wstring Line(std::wstring label, const std::wstring& value) {
    constexpr size_t kValueColumn = 12;
    if (!value.empty())
        label.resize(kValueColumn, L' ');
    return label + Printable(value) + L"\n";
}

}  // namespace

int Uri(const std::wstring& text) {
    framework::CParsedName name(text.c_str());
    // Credentials may stand where the grammar sees none: behind a second scheme, or without any.
    const std::wstring shown = framework::NameForLog(name);
    if (name.Uri() && !name.Uri()->IsLocalFile() && shown != text)
        name = framework::CParsedName(shown.c_str());
    const CTKFUri* const uri = name.Uri();
    if (!uri)
        throw CHostError(L"'" + Printable(shown) +
                         L"' is no name: it is empty, a device, a UNC path without a server, or a URI with a "
                         L"malformed host, a port above 65535 or control characters");
    std::wstring lines = Line(L"Scheme", uri->GetScheme());
    // A password may be in it.
    lines += Line(L"User info", std::wstring(uri->GetUserInfo().empty() ? L"" : framework::kHiddenCredentials));
    lines += Line(L"Host", uri->GetHost());
    lines += Line(L"Host type", InWords(uri->GetHostType()));
    lines += Line(L"Port", uri->GetPort() ? std::to_wstring(*uri->GetPort()) : std::wstring());
    lines += Line(L"Path", uri->GetPath());
    for (const std::wstring& segment : uri->GetPathSegments())
        lines += Line(L"Segment", segment);
    lines += Line(L"Query", uri->GetQuery());
    lines += Line(L"Fragment", uri->GetFragment());
    lines += Line(L"Local file", uri->IsLocalFile() ? L"yes" : L"no");
    lines += Line(L"Opens", uri->IsLocalFile() ? uri->GetLocalPath() : L"through the data-service layer");
    Print(lines);
    return 0;
}

}  // namespace tvsource
