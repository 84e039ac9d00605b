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

// What the text says; discarded, so no object, where it is no JSON. What comes from outside may be nested a hundred
// thousand deep, and copying or destroying that takes all of the stack: whatever stands deeper than ours ever do is
// left out.
[[nodiscard]] inline Json ParseJson(std::string_view text) {
    constexpr int kMostDepth = 32;
    const auto isShallow = [](int depth, Json::parse_event_t, const Json&) { return depth <= kMostDepth; };
    return Json::parse(text, isShallow, false);
}

}  // namespace console
