#include "logview/CJsonFile.h"

#include <utility>

namespace logview {

namespace {

constexpr std::size_t kPieceBytes = 256 << 10;

void Replace(std::string& text, std::string_view what, std::string_view by) {
    for (std::size_t at = text.find(what); at != text.npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
}

}  // namespace

// Outside texts, JSON has none of these characters.
std::string JsonBytes(const console::Json& value) {
    std::string text = value.dump(-1, ' ', false, console::Json::error_handler_t::replace);
    Replace(text, "<", "\\u003c");
    Replace(text, "\xE2\x80\xA8", "\\u2028");
    Replace(text, "\xE2\x80\xA9", "\\u2029");
    return text;
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
