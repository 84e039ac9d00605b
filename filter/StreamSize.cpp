#include "filter/StreamSize.h"

#include "base/CTaskMem.h"
#include "base/ComBoundary.h"

namespace filter {

HRESULT AskSize(IStream& stream, ULONGLONG* size) noexcept {
    STATSTG stat{};
    const HRESULT hr = base::ComBoundary([&] { return stream.Stat(&stat, STATFLAG_NONAME); });
    const base::CTaskMem<wchar_t> name(SUCCEEDED(hr) ? stat.pwcsName : nullptr);  // some streams give one all the same
    *size = SUCCEEDED(hr) ? stat.cbSize.QuadPart : 0;
    return hr;
}

}  // namespace filter
