// Something that the program waits for. After five seconds without a sign of life the log gets a record, and with
// `verbose` standard error a line; both again when it goes on.
//
// Threads: one.  Lifetime and errors: as of CHangDetector.
#pragma once

#include "diagnostics/CHangDetector.h"

#include <string>

namespace tvsource {

class CActivity final {
public:
    // `words`: "opening C:\clip.avi", say, without credentials.
    CActivity(const wchar_t* function, const std::wstring& words, bool verbose) noexcept;

    void KeepAlive() noexcept { m_detector.KeepAlive(); }

private:
    TKRuntimeLogger::CHangDetector m_detector;
};

}  // namespace tvsource
