#include "logview/CLineReader.h"

#include "base/LongPath.h"
#include "console/CCommandError.h"
#include "console/Text.h"

namespace logview {

namespace {

constexpr std::size_t kReadBytes = 256 << 10;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

console::CCommandError CannotRead(const std::wstring& path, DWORD error) {
    return {L"Cannot read " + console::Printable(path), HRESULT_FROM_WIN32(error)};
}

}  // namespace

CLineReader::CLineReader(const std::wstring& path)
    : m_path(path),
      m_file(::CreateFileW(base::OpenablePath(base::FullPathOf(path)).c_str(), GENERIC_READ,
                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                           FILE_FLAG_SEQUENTIAL_SCAN, nullptr)) {
    if (!m_file)
        throw CannotRead(path, ::GetLastError());
    while (m_read.size() < kByteOrderMark.size() && Fill()) {
    }
    if (m_read.starts_with(kByteOrderMark))
        m_given = m_looked = kByteOrderMark.size();
}

bool CLineReader::Fill() {
    if (m_isEnd)
        return false;
    m_read.erase(0, m_given);
    m_looked -= m_given;
    m_given = 0;
    const std::size_t size = m_read.size();
    m_read.resize(size + kReadBytes);
    DWORD read = 0;
    if (!::ReadFile(m_file.Get(), m_read.data() + size, kReadBytes, &read, nullptr) &&
        ::GetLastError() != ERROR_BROKEN_PIPE)
        throw CannotRead(m_path, ::GetLastError());
    m_read.resize(size + read);
    m_isEnd = read == 0;
    return !m_isEnd;
}

std::string CLineReader::TakePiece(std::size_t most) {
    std::size_t size = most;
    for (int back = 0; back < 3 && size > 1 && (m_read[m_given + size] & 0xC0) == 0x80; ++back)
        --size;
    std::string piece = m_read.substr(m_given, size);
    m_given += size;
    m_looked = m_given;
    return piece;
}

bool CLineReader::Next(std::string& line, bool& continues) {
    for (;;) {
        const std::size_t end = m_read.find('\n', m_looked);
        const bool hasEnd = end != m_read.npos;
        const std::size_t size = (hasEnd ? end : m_read.size()) - m_given;
        if (size > kMostBytes) {
            line = TakePiece(kMostBytes);
            continues = std::exchange(m_isWithinLine, true);
            return true;
        }
        m_looked = hasEnd ? end : m_read.size();
        if (!hasEnd && Fill())
            continue;
        if (!hasEnd && size == 0)
            return false;
        line.assign(m_read, m_given, size);
        m_given = m_looked = m_given + size + (hasEnd ? 1 : 0);
        if (line.ends_with('\r'))
            line.pop_back();
        continues = std::exchange(m_isWithinLine, false);
        if (!line.empty())
            return true;
    }
}

}  // namespace logview
