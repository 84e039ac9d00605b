// "opening ..." or the like on standard error for somebody who has to wait for a source: from half a second on until
// the object goes.
//
// Threads: one; the line is drawn by a thread of its own.  Lifetime: as of CProgressLine, not at the same time as one
// of those.  Errors: none; where there is no memory or no thread for it, nothing is drawn.
#pragma once

#include "base/CAutoDestructor.h"
#include "threading/CBoostThreadRunner.h"

#include <windows.h>

#include <string>

namespace tvsource {

class CWaitLine final {
public:
    // Without `shown` nothing is ever drawn.
    CWaitLine(bool shown, const std::wstring& words) noexcept;
    CWaitLine(const CWaitLine&) = delete;
    CWaitLine& operator=(const CWaitLine&) = delete;
    ~CWaitLine();

private:
    const base::CAutoHandle m_over{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    CBoostThreadRunner m_thread{"Wait line"};
};

}  // namespace tvsource
