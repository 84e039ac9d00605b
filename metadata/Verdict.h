// What one rule has to say of a content.
//
// Threads: a plain value.  Lifetime: all texts are literals of the library.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

struct Verdict {
    // The MIME types, in the spelling of the filter's table, most certain first; null behind the last. None: the
    // content isn't of this format.
    std::array<const wchar_t*, 3> types{};

    // What decided, for people to read; null where not even the format's signature is there.
    const wchar_t* reason = nullptr;

    // The bytes that decided, counted from the start of what the rule was given.
    std::uint64_t position = 0;
    std::uint64_t length = 0;

    // The content is of a format that no MIME type of the table stands for: no further rule is asked.
    bool isForeign = false;
};

// The bytes that a verdict rests on.
struct Evidence {
    std::uint64_t position = 0;
    std::uint64_t length = 0;
};

// The content is of the format. `second`: a less certain name, or null.
[[nodiscard]] constexpr Verdict Found(const wchar_t* first, const wchar_t* second, const wchar_t* reason,
                                      Evidence evidence) noexcept {
    return {{first, second, nullptr}, reason, evidence.position, evidence.length, false};
}

// There is no sign of the format.
[[nodiscard]] constexpr Verdict NotThere() noexcept {
    return {};
}

// The signature is there, but the structure that has to follow it is not.
[[nodiscard]] constexpr Verdict RuledOut(const wchar_t* reason, Evidence evidence) noexcept {
    return {{}, reason, evidence.position, evidence.length, false};
}
