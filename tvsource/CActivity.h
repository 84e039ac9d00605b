// Something that the program waits for. When it shows no sign of life for five seconds, that is a record of the log,
// and with `verbose` a line on standard error; so is it when it goes on after all.
//
// Threads: one.  Lifetime and errors: as of CHangDetector, and after Ctrl+C nothing is said any more.
#pragma once

#include "diagnostics/CHangDetector.h"

#include <string>

namespace tvsource {

class CActivity final {
public:
    // `words`: "opening C:\clip.avi", say, with nothing in it that may not be shown.
    CActivity(const wchar_t* function, const std::wstring& words, bool verbose) noexcept;

    void KeepAlive() noexcept { m_detector.KeepAlive(); }

private:
    TKRuntimeLogger::CHangDetector m_detector;
};

}  // namespace tvsource
