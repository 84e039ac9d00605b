// The control of a stream, where it has one.
#pragma once

#include "TKDataServices.h"

#include <wrl/client.h>

namespace framework {

// Null where `stream` doesn't have the interface, also where asking it fails or throws.
[[nodiscard]] Microsoft::WRL::ComPtr<ITKDSSourceControl> SourceControlOf(IStream& stream) noexcept;

}  // namespace framework
