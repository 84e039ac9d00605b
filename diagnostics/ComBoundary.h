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
// What must neither fail nor end its caller, a log record in the midst of a clean-up say, goes through RunQuietly.
//
// An exception that crossed into a host built by another compiler would end the host.
#pragma once

#include "diagnostics/CAtlException.h"
#include "diagnostics/CComException.h"

#include <new>
#include <stdexcept>
#include <utility>

// The result code of the exception that is being handled: out of memory (a string too long for the container included)
// E_OUTOFMEMORY, a CAtlException or CComException its own code, anything else E_UNEXPECTED. The error info that a
// CComException holds becomes the thread's.
// Call it from a catch block only.
[[nodiscard]] inline HRESULT ResultOfCaughtException() noexcept {
    try {
        throw;
    } catch (const CAtlException& exception) {
        return exception.m_hr;
    } catch (const CComException& exception) {
        static_cast<void>(exception.RestoreErrorInfo());  // most hold none
        return exception.GetResult();
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
