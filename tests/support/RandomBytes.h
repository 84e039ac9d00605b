// Bytes without a pattern, the same for the same seed.
#pragma once

#include <algorithm>
#include <random>
#include <string>

[[nodiscard]] inline std::string RandomBytes(unsigned seed, size_t count) {
    std::string bytes(count, '\0');
    std::ranges::generate(bytes, [random = std::mt19937(seed)]() mutable { return static_cast<char>(random()); });
    return bytes;
}
