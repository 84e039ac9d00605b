#include "tvsource/graph/PlayKeys.h"

#include <algorithm>

namespace tvsource {

namespace {

constexpr LONGLONG kStep = 100'000'000;  // ten seconds

}  // namespace

std::optional<PlayWish> WishOf(WORD key) noexcept {
    switch (key) {
        case VK_SPACE:
            return PlayWish{PlayWish::Kind::Pause, 0};
        case VK_LEFT:
            return PlayWish{PlayWish::Kind::Seek, -kStep};
        case VK_RIGHT:
            return PlayWish{PlayWish::Kind::Seek, kStep};
        case VK_ESCAPE:
            return PlayWish{PlayWish::Kind::End, 0};
    }
    return std::nullopt;
}

std::optional<LONGLONG> SeekTarget(LONGLONG position, LONGLONG step, LONGLONG duration) noexcept {
    if (duration <= 0)
        return std::nullopt;
    const LONGLONG begin = std::clamp(position, 0LL, duration);
    return begin + std::clamp(step, -begin, duration - begin);
}

RECT WindowPlace(SIZE picture, const RECT& frame, const RECT& workArea) noexcept {
    const LONGLONG frameWidth = frame.right - frame.left, frameHeight = frame.bottom - frame.top;
    const LONGLONG roomWidth = std::max(workArea.right - workArea.left - frameWidth, 1LL);
    const LONGLONG roomHeight = std::max(workArea.bottom - workArea.top - frameHeight, 1LL);
    LONGLONG width = std::max(picture.cx, 1L), height = std::max(picture.cy, 1L);
    if (width > roomWidth) {
        height = std::max(height * roomWidth / width, 1LL);
        width = roomWidth;
    }
    if (height > roomHeight) {
        width = std::max(width * roomHeight / height, 1LL);
        height = roomHeight;
    }
    width += frameWidth;
    height += frameHeight;
    const auto left = static_cast<LONG>((workArea.left + workArea.right - width) / 2);
    const auto top = static_cast<LONG>((workArea.top + workArea.bottom - height) / 2);
    return {left, top, static_cast<LONG>(left + width), static_cast<LONG>(top + height)};
}

}  // namespace tvsource
