// Whether there is a screen that a video window could stand on.
#pragma once

namespace tvsource {

// Asks two things: whether this session shows windows at all (a service's does not), and whether Direct3D, which the
// platform's video renderers draw with, has a display. The second also recognises Wine's null driver, which lists a
// display of the usual size. Nothing can draw on that display, and a video renderer that tries ends the process.
[[nodiscard]] bool HasScreen() noexcept;

}  // namespace tvsource
