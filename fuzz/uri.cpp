// Names of sources: their grammar, escapes and paths, and how logs show them.
#include "framework/uri/CTKFUri.h"
#include "framework/uri/NameForLog.h"
#include "framework/uri/UriEscapes.h"
#include "fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring input = WideOf({data, size});
    const std::wstring text = input.c_str();  // names end with their first zero
    const std::wstring spellable = base::WideOfUtf8(base::Utf8OfWide(text));
    Require(UnescapeUri(EscapeUriComponent(text.c_str()).c_str()) == spellable);
    const std::wstring logged = framework::NameForLog(text.c_str());

    const auto uri = CTKFUri::Parse(text.c_str());
    if (!uri)
        return 0;
    Require(!uri->GetScheme().empty() && *uri == *CTKFUri::Parse(text.c_str()));
    if (!uri->IsFileUrl() && !uri->GetUserInfo().empty())
        Require(logged.substr(uri->GetScheme().size()).starts_with(L"://***@"));
    static_cast<void>(uri->NormalizeUriEscapes());
    // A path leads to its URL and back.
    if (const std::wstring url = uri->ToString(); uri->IsFileUrl() && !url.empty()) {
        const auto again = CTKFUri::Parse(url.c_str());
        Require(again && again->GetFilePath() == uri->GetFilePath());
    }
    return 0;
}
