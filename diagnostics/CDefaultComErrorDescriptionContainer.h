// The texts of the framework's own result codes:
//
//   0x80040001  an element was not found                 0x80040005  nothing to fetch from an empty container
//   0x80040002  an element exists already                0x80040006  a value out of range
//   0x80040003  a stream that can't seek                 0x8004FFFF  a failure beyond repair
//   0x80040004  an operation took too long
//
// The numbers lie in the range that every interface is free to use, so they mean this only when they come from the
// framework.
#pragma once

#include "diagnostics/CComErrorDescriptionContainer.h"

class CDefaultComErrorDescriptionContainer final : public CComErrorDescriptionContainer {
public:
    CDefaultComErrorDescriptionContainer();

    // The module's one instance, from its static initialisation to its unload.
    [[nodiscard]] static const CDefaultComErrorDescriptionContainer& Instance() noexcept;
};
