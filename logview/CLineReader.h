// The lines of a file, read with little memory.
//
// Threads: one.  Errors: CCommandError where the file can't be opened or read, std::bad_alloc.
#pragma once

#include "base/CAutoDestructor.h"

#include <string>

namespace logview {

class CLineReader final {
public:
    // A longer line comes in pieces.
    static constexpr std::size_t kMostBytes = 4 << 20;

    // Others may go on writing to the file, or delete it.
    explicit CLineReader(const std::wstring& path);

    // The next line that isn't empty, without its end (LF or CR LF), or the next piece of one: `continues` the line
    // before. A byte order mark at the beginning of the file is left out. False: there are no more.
    [[nodiscard]] bool Next(std::string& line, bool& continues);

private:
    bool Fill();
    // A piece of at most kMostBytes, without cutting a character of UTF-8 in two.
    std::string TakePiece(std::size_t most);

    const std::wstring m_path;
    base::CAutoHandle m_file;
    std::string m_read;        // read and not yet given
    std::size_t m_given = 0;   // of which this much is given
    std::size_t m_looked = 0;  // and up to here there is no line end
    bool m_isEnd = false, m_isWithinLine = false;
};

}  // namespace logview
