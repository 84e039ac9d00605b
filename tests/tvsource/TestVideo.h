// A video whose every picture is known: four fields, each in one of four colours, that wander on by one field with
// every picture.
#pragma once

#include <array>
#include <cstdint>
#include <string>

inline constexpr std::array<std::uint32_t, 4> kColours = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF};  // red, green ...

// The colour of picture `number` in a field: 0 and 1 stand above, 2 and 3 below.
[[nodiscard]] constexpr std::uint32_t ColourOf(unsigned number, unsigned field) {
    return kColours[(number + field) % kColours.size()];
}

// An uncompressed AVI, in which each picture stands for `seconds`.
[[nodiscard]] inline std::string TestVideo(unsigned width, unsigned height, unsigned pictures, unsigned seconds = 1) {
    const auto number = [](std::uint32_t value, unsigned bytes = 4) {
        std::string text;
        for (; bytes > 0; --bytes, value >>= 8)
            text += static_cast<char>(value);
        return text;
    };
    const auto chunk = [&](const std::string& name, const std::string& content) {
        return name + number(static_cast<std::uint32_t>(content.size())) + content + std::string(content.size() % 2, 0);
    };
    const unsigned stride = (width * 3 + 3) / 4 * 4, size = stride * height;
    std::string frames = "movi", index;
    for (unsigned each = 0; each < pictures; ++each) {
        std::string picture;
        for (unsigned y = height; y-- > 0;
             picture.resize((height - y) * std::size_t{stride})) {  // the lowest row first
            for (unsigned x = 0; x < width; ++x)
                picture += number(ColourOf(each, (y >= height / 2 ? 2 : 0) + (x >= width / 2 ? 1 : 0)), 3);
        }
        index += "00db" + number(0x10) + number(static_cast<std::uint32_t>(frames.size())) + number(size);
        frames += chunk("00db", picture);
    }
    const std::string main = number(seconds * 1'000'000) + number(0) + number(0) + number(0x10) + number(pictures) +
                             number(0) + number(1) + number(size) + number(width) + number(height) + std::string(16, 0);
    const std::string stream = "vids" + std::string("DIB ") + std::string(12, 0) + number(seconds) + number(1) +
                               number(0) + number(pictures) + number(size) + number(0) + number(0) + number(0) +
                               number(width, 2) + number(height, 2);
    const std::string format = number(40) + number(width) + number(height) + number(1, 2) + number(24, 2) + number(0) +
                               number(size) + std::string(16, 0);
    const std::string header = chunk(
        "LIST", "hdrl" + chunk("avih", main) + chunk("LIST", "strl" + chunk("strh", stream) + chunk("strf", format)));
    return chunk("RIFF", "AVI " + header + chunk("LIST", frames) + chunk("idx1", index));
}
