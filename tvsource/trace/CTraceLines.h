// The lines of a trace file, one by one.
//
// Threads: one.  Errors: CCommandError.
#pragma once

#include "base/CAutoDestructor.h"
#include "console/CCommandError.h"

#include <optional>
#include <string>

namespace tvsource {

class CTraceLines final {
public:
    explicit CTraceLines(const std::wstring& path);

    // Without its line break. Nothing: the file has ended.
    [[nodiscard]] std::optional<std::string> Next();

    // What is wrong with the line that came last.
    [[nodiscard]] console::CCommandError Wrong(const std::wstring& words) const;

private:
    const std::wstring m_name;
    base::CAutoHandle m_file;
    std::string m_buffer;
    bool m_hasEnded = false;
    unsigned long long m_number = 0;
};

}  // namespace tvsource
