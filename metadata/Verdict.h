// What one rule says about a source's content.
//
// Threads: a plain value.  Lifetime: all texts are literals of the library.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace metadata {

// The bytes that a verdict rests on, counted from the start of what the rule was given.
struct Evidence {
    std::uint64_t position = 0;
    std::uint64_t length = 0;
};

struct Verdict {
    // The MIME types, in the spelling of the filter's table (filter/MimeTypeTable.cpp), most certain first; null behind
    // the last. No type: the content isn't of this format.
    std::array<const wchar_t*, 3> types{};

    // What decided, for people to read; null where not even the format's signature is there.
    const wchar_t* reason = nullptr;

    Evidence evidence;

    // The content is of a format that no MIME type of that table stands for.
    bool isForeign = false;

    // Whether no further rule has to be asked.
    [[nodiscard]] constexpr bool Decides() const noexcept { return types[0] || isForeign; }
};

// The content is of the format. `second`: a less certain name, or null.
[[nodiscard]] constexpr Verdict Found(const wchar_t* first, const wchar_t* second, const wchar_t* reason,
                                      Evidence evidence) noexcept {
    return {{first, second, nullptr}, reason, evidence, false};
}

// There is no sign of the format.
[[nodiscard]] constexpr Verdict NotThere() noexcept {
    return {};
}

// The signature is there, but the structure that has to follow it is not.
[[nodiscard]] constexpr Verdict RuledOut(const wchar_t* reason, Evidence evidence) noexcept {
    return {{}, reason, evidence, false};
}

// The content is of a format that the table has no type for.
[[nodiscard]] constexpr Verdict Foreign(const wchar_t* reason, Evidence evidence) noexcept {
    return {{}, reason, evidence, true};
}

}  // namespace metadata
