// "opening ..." on standard error for somebody who has to wait for a source: from half a second on until the object
// goes.
//
// Threads: one.  Lifetime: as of CProgressLine, not at the same time as one of those.  Errors: none.
#pragma once

#include "tvsource/CLateCall.h"

namespace tvsource {

class COpeningLine final {
public:
    // Without `shown` nothing is ever drawn.
    explicit COpeningLine(bool shown) noexcept;

private:
    const CLateCall m_late;
};

}  // namespace tvsource
