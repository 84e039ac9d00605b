// A file of JSON that is too large to be built in memory: pieces are added as they are made. It takes the place of an
// older file when it is finished.
//
// Threads: one.  Errors: CCommandError, std::bad_alloc.
#pragma once

#include "console/COutputFile.h"
#include "console/Json.h"

#include <string>
#include <string_view>

namespace logview {

// The value without blanks. It may stand in a script element too: there is no "<" in it, nor a line end of Unicode.
// Text that is no UTF-8 becomes U+FFFD.
[[nodiscard]] std::string JsonBytes(const console::Json& value);

class CJsonFile final {
public:
    explicit CJsonFile(const std::wstring& path) : m_file(path) {}

    // As it is.
    void Add(std::string_view text);

    // An item of a list, on a line of its own; the list's brackets are added as they are, and begin it anew.
    void AddItem(const console::Json& value);
    void BeginList(std::string_view text);

    void Finish();

private:
    console::CReplacingFile m_file;
    std::string m_waiting;
    bool m_isFirst = true;
};

}  // namespace logview
