#include "filter/StreamSize.h"

#include "diagnostics/ComBoundary.h"
#include "framework/com/CTaskMem.h"

HRESULT AskSize(IStream& stream, ULONGLONG* size) noexcept {
    STATSTG stat{};
    const HRESULT hr = ComBoundary([&] { return stream.Stat(&stat, STATFLAG_NONAME); });
    const CTaskMem<wchar_t> name(SUCCEEDED(hr) ? stat.pwcsName : nullptr);  // some give it all the same
    *size = SUCCEEDED(hr) ? stat.cbSize.QuadPart : 0;
    return hr;
}
