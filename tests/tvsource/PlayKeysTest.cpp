#include "tvsource/graph/PlayKeys.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <optional>
#include <tuple>

using namespace tvsource;

namespace {

constexpr LONGLONG kSecond = 10'000'000;
constexpr LONGLONG kMost = std::numeric_limits<LONGLONG>::max(), kLeast = std::numeric_limits<LONGLONG>::min();

TEST(PlayKeys, PauseSeekAndEnd) {
    using Kind = PlayWish::Kind;
    EXPECT_EQ((PlayWish{Kind::Pause, 0}), WishOf(VK_SPACE));
    EXPECT_EQ((PlayWish{Kind::Seek, -10 * kSecond}), WishOf(VK_LEFT));
    EXPECT_EQ((PlayWish{Kind::Seek, 10 * kSecond}), WishOf(VK_RIGHT));
    EXPECT_EQ((PlayWish{Kind::End, 0}), WishOf(VK_ESCAPE));
    for (const WORD key : std::initializer_list<WORD>{0, VK_UP, VK_RETURN, VK_CONTROL, 'P'})
        EXPECT_FALSE(WishOf(key)) << key;
}

TEST(PlayKeys, SeekInsideTheDurationAndNotAtAllWithoutOne) {
    const std::tuple<LONGLONG, LONGLONG, LONGLONG, std::optional<LONGLONG>> rows[] = {
        {15 * kSecond, 10 * kSecond, 60 * kSecond, 25 * kSecond},
        {15 * kSecond, -10 * kSecond, 60 * kSecond, 5 * kSecond},
        {5 * kSecond, -10 * kSecond, 60 * kSecond, 0},
        {55 * kSecond, 10 * kSecond, 60 * kSecond, 60 * kSecond},
        {61 * kSecond, -10 * kSecond, 60 * kSecond, 50 * kSecond},
        {-5, 0, 60, 0},
        {3, 10 * kSecond, 5, 5},
        {kMost, kMost, kMost, kMost},
        {kMost, kLeast, kMost, 0},
        {5 * kSecond, 10 * kSecond, 0, std::nullopt},
        {5 * kSecond, -10 * kSecond, -1, std::nullopt},
    };
    for (const auto& [position, step, duration, target] : rows)
        EXPECT_EQ(target, SeekTarget(position, step, duration)) << position << ' ' << step << ' ' << duration;
}

TEST(VideoWindow, StandsInTheMiddleOfTheWorkAreaAndFitsIntoIt) {
    const RECT frame{-4, -20, 4, 4}, work{100, 0, 900, 600};
    const std::tuple<SIZE, RECT, RECT> rows[] = {
        {{320, 240}, work, {336, 168, 664, 432}},     {{792, 576}, work, {100, 0, 900, 600}},
        {{1584, 576}, work, {100, 144, 900, 456}},     // too wide
        {{792, 1152}, work, {298, 0, 702, 600}},       // too high
        {{0, -5}, work, {495, 287, 504, 312}},         // no size
        {{320, 240}, {0, 0, 0, 0}, {-4, -12, 5, 13}},  // no screen
        {{LONG_MAX, 1}, work, {100, 287, 900, 312}},   // hostile
        {{1, LONG_MAX}, work, {495, 0, 504, 600}},
    };
    for (const auto& [picture, area, expected] : rows) {
        const RECT is = WindowPlace(picture, frame, area);
        EXPECT_EQ((std::tuple(expected.left, expected.top, expected.right, expected.bottom)),
                  (std::tuple(is.left, is.top, is.right, is.bottom)))
            << picture.cx << 'x' << picture.cy;
    }
}

}  // namespace
