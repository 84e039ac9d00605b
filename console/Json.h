// The objects of --json. Keys stand in the order in which they were written.
#pragma once

#include "base/Utf8Text.h"

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace console {

using Json = nlohmann::ordered_json;

[[nodiscard]] inline Json JsonText(std::wstring_view text) {
    return base::Utf8OfWide(text);
}

[[nodiscard]] inline Json JsonTexts(const std::vector<std::wstring>& texts) {
    Json array = Json::array();
    for (const std::wstring& text : texts)
        array.push_back(JsonText(text));
    return array;
}

}  // namespace console
