// What the streams of a source tell of it beside its bytes, and how patient they are.
//
// Units: milliseconds.  Threads: any.
#pragma once

#include <windows.h>

#include <objidl.h>

#include <string>

namespace dataservices::store {

class ISourceDescription {
public:
    virtual ~ISourceDescription() = default;

    // For STATSTG.  Throw std::bad_alloc.
    [[nodiscard]] virtual std::wstring Name() const = 0;
    virtual void Describe(STATSTG* stat) const = 0;  // sets its times and mode, as far as they are known

    // How long one read may take in all, and what it then fails with.
    [[nodiscard]] virtual DWORD ReadLimitMs() const noexcept = 0;
    [[nodiscard]] virtual HRESULT TimedOut() const noexcept = 0;
    // How long a connection waits for a byte.
    [[nodiscard]] virtual DWORD SilenceLimitMs() const noexcept = 0;
    virtual void SetSilenceLimitMs(DWORD ms) noexcept = 0;
};

}  // namespace dataservices::store
