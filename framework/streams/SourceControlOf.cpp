#include "framework/streams/SourceControlOf.h"

#include "base/ComBoundary.h"
#include "base/ForeignCalls.h"

namespace framework {

Microsoft::WRL::ComPtr<ITKDSSourceControl> SourceControlOf(IStream& stream) noexcept {
    Microsoft::WRL::ComPtr<ITKDSSourceControl> control;
    static_cast<void>(base::ComBoundary([&] { return base::QueryFor(stream, control.GetAddressOf()); }));
    return control;
}

}  // namespace framework
