// Pictures as PNG files, made by the platform's imaging component (WIC).
#pragma once

#include "tvsource/graph/Picture.h"

namespace tvsource {

// The bytes of the file. Errors: CCommandError.
[[nodiscard]] std::vector<BYTE> PngOf(const Picture& picture);

}  // namespace tvsource
