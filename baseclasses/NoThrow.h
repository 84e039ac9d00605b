// The edge at which exceptions become result codes: those of our overrides, and those of foreign pins and graphs, which
// should not throw but may. E_OUTOFMEMORY for std::bad_alloc, E_UNEXPECTED for anything else.
#pragma once

#include <windows.h>

#include <new>
#include <utility>

template <class Body>
[[nodiscard]] HRESULT NoThrow(Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}
