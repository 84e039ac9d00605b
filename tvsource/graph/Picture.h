// A picture that a decoder gave, in a form that one can save.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <strmif.h>

#include <optional>
#include <span>
#include <vector>

namespace tvsource {

struct Picture {
    UINT width = 0, height = 0;
    std::vector<BYTE> points;  // blue, green, red; row by row from the top, without gaps
};

// The picture that a sample of this media type holds: FORMAT_VideoInfo, uncompressed, with 24 or 32 bits a point,
// either way up. Empty: the type is of another kind, claims a size that can't be, or the sample has less than the
// picture.
[[nodiscard]] std::optional<Picture> PictureOf(const AM_MEDIA_TYPE& type, std::span<const BYTE> sample);

}  // namespace tvsource
