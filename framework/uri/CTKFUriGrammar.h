// The grammar of the names that CTKFUri takes: RFC 3986 for URIs, RFC 8089 with its customary variants for file URLs,
// and the ways in which the platform writes paths. It stands apart from CTKFUri because the parser library is slow to
// compile.
#pragma once

#include "framework/uri/CTKFUriParts.h"

#include <optional>
#include <string_view>

namespace framework {

class CTKFUriGrammar final {
public:
    // No value: `text` is no name; CTKFUri::Parse says what one is.  Threads: any.
    [[nodiscard]] static std::optional<CTKFUriParts> Parse(std::wstring_view text);

    // Whether `text`, behind two separators, is the server of a UNC path.
    [[nodiscard]] static bool IsServer(std::wstring_view text) noexcept;
};

}  // namespace framework
