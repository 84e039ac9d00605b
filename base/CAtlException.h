// A result code as an exception, for failures that have no more to say than the code. (CComException says more.) It
// never crosses a COM boundary: see ComBoundary.h.
#pragma once

#include "base/CResultException.h"

namespace base {

class CAtlException final : public CResultException {
public:
    explicit CAtlException(HRESULT hr) noexcept : m_hr(hr) {}

    operator HRESULT() const noexcept { return m_hr; }
    [[nodiscard]] HRESULT Report() const noexcept override { return m_hr; }

    HRESULT m_hr;
};

}  // namespace base
