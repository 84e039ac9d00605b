// The edge at which exceptions become result codes. Every COM method and exported function whose body can throw wraps
// it:
//
//   STDMETHODIMP CThing::DoIt(BSTR name) noexcept {
//       return ComBoundary([&]() -> HRESULT {
//           m_names.emplace_back(name);
//           return S_OK;
//       });
//   }
//
// A step that must neither fail nor end its caller, such as a log record during a clean-up, goes through RunQuietly.
//
// An exception that crossed into a host built by another compiler would end the host.
#pragma once

#include "base/CResultException.h"

#include <new>
#include <stdexcept>
#include <utility>

namespace base {

// The result code of the exception that is being handled. Out of memory (a string too long for its container included):
// E_OUTOFMEMORY. A CResultException: what it reports. Anything else: E_UNEXPECTED.
// Call it from a catch block only.
[[nodiscard]] inline HRESULT ResultOfCaughtException() noexcept {
    try {
        throw;
    } catch (const CResultException& exception) {
        return exception.Report();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::length_error&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

// Runs `body`, which returns a HRESULT, and answers with its result or with that of the exception that it threw.
template <class Body>
[[nodiscard]] HRESULT ComBoundary(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) {
        return ResultOfCaughtException();
    }
}

// Runs `body`; what it throws is dropped.
template <class Body>
void RunQuietly(Body&& body) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (...) {
    }
}

}  // namespace base
