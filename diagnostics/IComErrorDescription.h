// Texts for result codes that the platform has no text for.
#pragma once

#include <windows.h>

#include <string>

// Threads: any, as long as nobody changes what is behind it.
class IComErrorDescription {
public:
    virtual ~IComErrorDescription() = default;

    // Empty: nothing is known about the code.  Throws std::bad_alloc.
    [[nodiscard]] virtual std::wstring GetDescription(HRESULT hr) const = 0;
};
