// The base of the exceptions that carry a result code. ComBoundary asks them for it.
#pragma once

#include <windows.h>

namespace base {

class CResultException {
public:
    // Returns the code. What else the exception knows, such as an error info object, is put where the caller of a COM
    // method looks for it.
    [[nodiscard]] virtual HRESULT Report() const noexcept = 0;

protected:
    CResultException() noexcept = default;
    CResultException(const CResultException&) noexcept = default;
    CResultException& operator=(const CResultException&) noexcept = default;
    ~CResultException() = default;
};

}  // namespace base
