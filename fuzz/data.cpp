// Base64, and data: URIs.
#include "base/Base64.h"
#include "dataservices/data/DataUri.h"
#include "fuzz/Fuzz.h"

using namespace dataservices;

namespace {

std::optional<std::vector<std::uint8_t>> ContentOf(const std::wstring& text) {
    const auto uri = ParseDataUri(text);
    return uri ? ContentOfDataUri(*uri) : std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::wstring encoded = base::EncodeBase64(bytes);
    const auto decoded = ContentOf(L"data:;base64," + encoded);
    Require(decoded && std::equal(decoded->begin(), decoded->end(), data, data + size));
    if (const auto content = base::DecodeBase64(bytes))
        Require(content->size() <= size);
    if (const auto content = ContentOf(WideOf({data, size})))
        Require(content->size() <= 3 * size);
    return 0;
}
