// What the data-service layer is told before it opens a source: see ITKDSSourceOptions. The values may be secrets; no
// message has them.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <wrl/client.h>

#include <string>
#include <vector>

namespace tvsource {

struct LayerOption {
    std::wstring name;   // one of TKDS_OPTION_*
    std::wstring value;  // as text, which the layer converts
    std::wstring word;   // of the command line, for messages
};
using LayerOptions = std::vector<LayerOption>;

// The layer's access factory, with these options set.
// CCommandError: there is no layer, it takes no options, or it refuses one of these.
[[nodiscard]] Microsoft::WRL::ComPtr<IUnknown> AccessFactoryWith(const LayerOptions& options);

}  // namespace tvsource
