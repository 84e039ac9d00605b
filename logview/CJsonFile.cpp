#include "logview/CJsonFile.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace logview {

namespace {

constexpr std::size_t kPieceBytes = 256 << 10;

// Outside texts, JSON has none of these.
constexpr std::pair<std::string_view, std::string_view> kEscapes[] = {
    {"<", "\\u003c"}, {"\xE2\x80\xA8", "\\u2028"}, {"\xE2\x80\xA9", "\\u2029"}};

}  // namespace

std::string JsonBytes(const console::Json& value) {
    const std::string text = value.dump(-1, ' ', false, console::Json::error_handler_t::replace);
    std::string bytes;
    bytes.reserve(text.size());
    for (std::string_view rest = text; !rest.empty();) {
        const auto* const escape =
            std::ranges::find_if(kEscapes, [&](const auto& each) { return rest.starts_with(each.first); });
        const bool isPlain = escape == std::end(kEscapes);
        bytes += isPlain ? rest.substr(0, 1) : escape->second;
        rest.remove_prefix(isPlain ? 1 : escape->first.size());
    }
    return bytes;
}

void CJsonFile::Add(std::string_view text) {
    m_waiting += text;
    if (m_waiting.size() >= kPieceBytes) {
        m_file.Write(m_waiting);
        m_waiting.clear();
    }
}

void CJsonFile::BeginList(std::string_view text) {
    Add(text);
    m_isFirst = true;
}

void CJsonFile::AddItem(const console::Json& value) {
    Add(std::exchange(m_isFirst, false) ? "\n" : ",\n");
    Add(JsonBytes(value));
}

void CJsonFile::Finish() {
    m_file.Write(m_waiting);
    m_file.Finish();
}

}  // namespace logview
