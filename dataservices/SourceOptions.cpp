#include "dataservices/SourceOptions.h"

#include "TKDataServices.h"
#include "base/AsciiText.h"
#include "dataservices/com/ComMethod.h"
#include "framework/values/CVariant.h"

#include <algorithm>

namespace dataservices {

namespace {

struct NumberOption {
    const wchar_t* name;
    DWORD SourceOptions::*field;
    DWORD least, most;
};
constexpr DWORD kMiB = 0x100000;
constexpr NumberOption kNumbers[] = {
    {TKDS_OPTION_CONNECTTIMEOUT, &SourceOptions::connectMs, 100, 120'000},
    {TKDS_OPTION_ANSWERTIMEOUT, &SourceOptions::answerMs, 100, 120'000},
    {TKDS_OPTION_SILENCELIMIT, &SourceOptions::silenceMs, 100, 60'000},
    {TKDS_OPTION_OPENTIMEOUT, &SourceOptions::openMs, 100, 600'000},
    {TKDS_OPTION_READTIMEOUT, &SourceOptions::readMs, 100, 600'000},
    {TKDS_OPTION_RETRIES, &SourceOptions::retries, 0, 20},
    {TKDS_OPTION_STOREBYTES, &SourceOptions::storeBytes, kMiB, (sizeof(void*) == 8 ? 1024 : 256) * kMiB},
};

// No line breaks, which would begin a header of their own; and nothing beyond ASCII, which systems encode in different
// ways, some of them as line breaks.
[[nodiscard]] bool IsHeaderText(std::wstring_view text) noexcept {
    return std::ranges::all_of(text, [](wchar_t each) { return each >= 0x20 && each < 0x7F; });
}

[[nodiscard]] bool IsToken(std::wstring_view text) noexcept {
    return !text.empty() && std::ranges::all_of(text, [](wchar_t each) {
        return base::IsAsciiLetterOrDigit(each) ||
               std::wstring_view(L"!#$%&'*+-.^_`|~").find(each) != std::wstring_view::npos;
    });
}

[[nodiscard]] bool IsProxy(std::wstring_view text) noexcept {
    if (text.empty() || text == kNoProxy)
        return true;
    const std::size_t colon = text.rfind(L':');
    if (colon == text.npos || colon == 0)
        return false;
    const std::wstring_view host = text.substr(0, colon), port = text.substr(colon + 1);
    const bool isV6 = host.front() == L'[' && host.back() == L']';
    const bool isHost = std::ranges::all_of(isV6 ? host.substr(1, host.size() - 2) : host, [&](wchar_t each) {
        return base::IsAsciiLetterOrDigit(each) || each == L'.' || each == L'-' || each == L'_' ||
               (isV6 && each == L':');
    });
    unsigned number = 0;
    for (const wchar_t digit : port.substr(0, 5))
        number = digit >= L'0' && digit <= L'9' ? number * 10 + (digit - L'0') : 0x10000;
    return isHost && port.size() <= 5 && number > 0 && number <= 0xFFFF;
}

struct TextOption {
    const wchar_t* name;
    std::wstring SourceOptions::*field;
    bool (*isValid)(std::wstring_view) noexcept;
};
constexpr TextOption kTexts[] = {
    {TKDS_OPTION_USERAGENT, &SourceOptions::userAgent, &IsHeaderText},
    {TKDS_OPTION_REFERER, &SourceOptions::referer, &IsHeaderText},
    {TKDS_OPTION_COOKIES, &SourceOptions::cookies, &IsHeaderText},
    {TKDS_OPTION_PROXY, &SourceOptions::proxy, &IsProxy},
};

// Headers by which the layer and the HTTP library do their own work, and those that have options of their own.
constexpr std::wstring_view kOwnHeaders[] = {
    L"Accept-Encoding",
    L"Connection",
    L"Content-Length",
    L"Content-Type",
    L"Cookie",
    L"Expect",
    L"Host",
    L"HTTP2-Settings",
    L"If-Match",
    L"If-Modified-Since",
    L"If-None-Match",
    L"If-Range",
    L"Keep-Alive",
    L"If-Unmodified-Since",
    L"Range",
    L"Referer",
    L"TE",
    L"Trailer",
    L"Transfer-Encoding",
    L"Upgrade",
    L"User-Agent",
    L"Via",
};
constexpr std::wstring_view kOwnPrefix = L"Proxy-";

[[nodiscard]] bool MaySetHeader(std::wstring_view name) noexcept {
    return IsToken(name) && !base::EqualsIgnoringAsciiCase(name.substr(0, kOwnPrefix.size()), kOwnPrefix) &&
           std::ranges::none_of(kOwnHeaders,
                                [&](std::wstring_view own) { return base::EqualsIgnoringAsciiCase(name, own); });
}

[[nodiscard]] HRESULT Convert(const VARIANT& value, VARTYPE kind, framework::CVariant& to) noexcept {
    VARIANT given = value;  // which some headers don't take as a constant
    const HRESULT hr = ::VariantChangeTypeEx(to.Put(), &given, LOCALE_INVARIANT, VARIANT_NOVALUEPROP, kind);
    return FAILED(hr) && hr != E_OUTOFMEMORY ? E_INVALIDARG : hr;
}

template <class Options>
[[nodiscard]] auto Find(const Options& options, std::wstring_view name) noexcept {
    const auto found = std::ranges::find(options, name, [](const auto& row) { return std::wstring_view(row.name); });
    return found == std::end(options) ? nullptr : &*found;
}

// The header that an option names; no value: it names none.
[[nodiscard]] std::optional<std::wstring_view> HeaderOf(std::wstring_view option) noexcept {
    constexpr std::wstring_view kPrefix = TKDS_OPTION_HEADER;
    return option.starts_with(kPrefix) ? std::optional(option.substr(kPrefix.size())) : std::nullopt;
}

[[nodiscard]] auto FindHeader(auto& headers, std::wstring_view name) noexcept {
    return std::ranges::find_if(headers,
                                [&](const auto& each) { return base::EqualsIgnoringAsciiCase(each.name, name); });
}

[[nodiscard]] HRESULT TextOfValue(const VARIANT& value, bool (*isValid)(std::wstring_view) noexcept,
                                  std::wstring* text) {
    framework::CVariant converted;
    if (value.vt == VT_EMPTY)
        return S_OK;
    if (const HRESULT hr = Convert(value, VT_BSTR, converted); FAILED(hr))
        return hr;
    const std::wstring given = TextOf(converted.Get().bstrVal);
    *text = base::Trimmed(given);
    return isValid(*text) ? S_OK : E_INVALIDARG;
}

[[nodiscard]] HRESULT SetHeader(SourceOptions& options, std::wstring_view name, const VARIANT& value) {
    std::wstring text;
    if (!MaySetHeader(name))
        return E_INVALIDARG;
    if (const HRESULT hr = TextOfValue(value, &IsHeaderText, &text); FAILED(hr))
        return hr;
    std::vector<SourceOptions::Header> headers = options.headers;
    if (const auto found = FindHeader(headers, name); found != headers.end())
        headers.erase(found);
    if (!text.empty())
        headers.push_back({std::wstring(name), std::move(text)});
    options.headers = std::move(headers);
    return S_OK;
}

[[nodiscard]] HRESULT SetNumber(SourceOptions& options, const NumberOption& option, const VARIANT& value) {
    framework::CVariant converted;
    if (value.vt == VT_EMPTY) {
        options.*option.field = SourceOptions{}.*option.field;
        return S_OK;
    }
    if (const HRESULT hr = Convert(value, VT_I8, converted); FAILED(hr))
        return hr;
    const LONGLONG number = converted.Get().llVal;
    if (number < option.least || number > option.most)
        return E_INVALIDARG;
    options.*option.field = static_cast<DWORD>(number);
    return S_OK;
}

[[nodiscard]] HRESULT SetShareStore(SourceOptions& options, const VARIANT& value) {
    framework::CVariant converted;
    if (value.vt == VT_EMPTY) {
        options.storesShares = SourceOptions{}.storesShares;
        return S_OK;
    }
    if (const HRESULT hr = Convert(value, VT_BOOL, converted); FAILED(hr))
        return hr;
    options.storesShares = converted.Get().boolVal != VARIANT_FALSE;
    return S_OK;
}

[[nodiscard]] HRESULT GiveValue(std::wstring_view text, VARIANT* value) {
    value->bstrVal = base::CBstr(text).Detach();
    value->vt = VT_BSTR;
    return S_OK;
}

}  // namespace

bool SourceOptions::HasHeader(std::wstring_view name) const noexcept {
    return FindHeader(headers, name) != headers.end();
}

HRESULT SetOption(SourceOptions& options, std::wstring_view name, const VARIANT& value) {
    if (const auto header = HeaderOf(name))
        return SetHeader(options, *header, value);
    if (const auto* const option = Find(kNumbers, name))
        return SetNumber(options, *option, value);
    if (name == TKDS_OPTION_SHARESTORE)
        return SetShareStore(options, value);
    const auto* const option = Find(kTexts, name);
    if (!option)
        return kNotFound;
    std::wstring text;
    const HRESULT hr = TextOfValue(value, option->isValid, &text);
    if (SUCCEEDED(hr))
        options.*option->field = std::move(text);
    return hr;
}

HRESULT GetOption(const SourceOptions& options, std::wstring_view name, VARIANT* value) {
    if (const auto header = HeaderOf(name)) {
        if (!MaySetHeader(*header))
            return E_INVALIDARG;
        const auto found = FindHeader(options.headers, *header);
        return GiveValue(found == options.headers.end() ? std::wstring_view() : found->value, value);
    }
    if (const auto* const option = Find(kNumbers, name)) {
        value->vt = VT_I4;
        value->lVal = static_cast<LONG>(options.*option->field);
        return S_OK;
    }
    if (name == TKDS_OPTION_SHARESTORE) {
        value->vt = VT_BOOL;
        value->boolVal = options.storesShares ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    }
    const auto* const option = Find(kTexts, name);
    return option ? GiveValue(options.*option->field, value) : kNotFound;
}

}  // namespace dataservices
