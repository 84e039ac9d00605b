#include "dataservices/StreamUri.h"

#include "dataservices/Location.h"
#include "diagnostics/LongPath.h"
#include "framework/com/CTaskMem.h"
#include "framework/uri/CTKFUri.h"

std::wstring UriOfStream(IStream& stream) {
    STATSTG stat{};
    if (FAILED(stream.Stat(&stat, STATFLAG_DEFAULT)))
        return {};
    const CTaskMem<wchar_t> name(stat.pwcsName);
    const auto uri = name ? CTKFUri::FromFilePath(name.Get()) : nullptr;
    Location location;
    const bool isPartial = uri && FullPathOf(uri->GetFilePath()) != uri->GetFilePath();
    return !name || isPartial || FAILED(FindLocation(name.Get(), &location)) ? std::wstring() : UriOf(location);
}
