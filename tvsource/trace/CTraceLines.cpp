#include "tvsource/trace/CTraceLines.h"

#include "base/FormatText.h"
#include "base/LongPath.h"
#include "console/Text.h"
#include "tvsource/trace/Trace.h"

namespace tvsource {

CTraceLines::CTraceLines(const std::wstring& path)
    : m_name(console::Printable(path)),
      m_file(::CreateFileW(base::OpenablePath(base::FullPathOf(path)).c_str(), GENERIC_READ,
                           FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0, nullptr)) {
    if (!m_file)
        throw console::CCommandError(L"Cannot open the trace " + m_name, HRESULT_FROM_WIN32(::GetLastError()));
}

std::optional<std::string> CTraceLines::Next() {
    ++m_number;
    for (;;) {
        if (const size_t end = m_buffer.find('\n'); end != m_buffer.npos) {
            if (end > kMostLineBytes)
                throw Wrong(L"the line is too long");
            std::string line = m_buffer.substr(0, end);
            m_buffer.erase(0, end + 1);
            return line;
        }
        if (m_buffer.size() > kMostLineBytes)
            throw Wrong(L"the line is too long");
        if (m_hasEnded)
            return m_buffer.empty() ? std::nullopt : std::optional(std::exchange(m_buffer, {}));
        const size_t had = m_buffer.size();
        m_buffer.resize(had + kMostLineBytes);
        DWORD read = 0;
        if (!::ReadFile(m_file.Get(), m_buffer.data() + had, static_cast<DWORD>(kMostLineBytes), &read, nullptr))
            throw console::CCommandError(L"Cannot read the trace " + m_name, HRESULT_FROM_WIN32(::GetLastError()));
        m_buffer.resize(had + read);
        m_hasEnded = read == 0;
    }
}

console::CCommandError CTraceLines::Wrong(const std::wstring& words) const {
    return console::CCommandError(
        base::FormatText(L"The trace %ls makes no sense in line %I64u: ", m_name.c_str(), m_number) + words);
}

}  // namespace tvsource
