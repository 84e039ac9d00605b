// What a person in front of a running graph wants: which key means what, and where that leads. Nothing here needs a
// graph or a screen.
#pragma once

#include <windows.h>

#include <optional>

namespace tvsource {

struct PlayWish {
    enum class Kind { Pause, Seek, End };  // Pause: also to go on
    Kind kind;
    LONGLONG step;  // of Seek, in units of 100 ns

    bool operator==(const PlayWish&) const = default;
};

// The meaning of a virtual key. Empty: it has none.
[[nodiscard]] std::optional<PlayWish> WishOf(WORD key) noexcept;

// Where a step from `position` leads, inside a source of `duration`; both in units of 100 ns.
// Empty: nowhere, because the duration isn't known (0).
[[nodiscard]] std::optional<LONGLONG> SeekTarget(LONGLONG position, LONGLONG step, LONGLONG duration) noexcept;

// Where a window goes that shows a picture of this size, in pixels: in the middle of the work area of the screen,
// smaller if it isn't large enough. `frame`: what the window has around the picture, as AdjustWindowRectEx tells for an
// empty rectangle.
[[nodiscard]] RECT WindowPlace(SIZE picture, const RECT& frame, const RECT& workArea) noexcept;

}  // namespace tvsource
