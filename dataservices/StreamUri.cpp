#include "dataservices/StreamUri.h"

#include "base/CTaskMem.h"
#include "base/LongPath.h"
#include "dataservices/Location.h"
#include "dataservices/http/CHttpUrl.h"
#include "framework/uri/CTKFUri.h"

namespace dataservices {

std::wstring UriOfStream(IStream& stream) {
    STATSTG stat{};
    if (FAILED(stream.Stat(&stat, STATFLAG_DEFAULT)))
        return {};
    const base::CTaskMem<wchar_t> name(stat.pwcsName);
    const auto uri = name ? CTKFUri::FromFilePath(name.Get()) : nullptr;
    Location location;
    const bool isPartial = uri && base::FullPathOf(uri->GetFilePath()) != uri->GetFilePath();
    // Streams of ours don't tell their query, without which the name is that of another object.
    const bool isCut = name && std::wstring_view(name.Get()).ends_with(http::CHttpUrl::kHiddenQuery);
    return !name || isPartial || isCut || FAILED(FindLocation(name.Get(), &location)) ? std::wstring()
                                                                                      : UriOf(location);
}

}  // namespace dataservices
