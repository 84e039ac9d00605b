#include "dataservices/properties/StreamUri.h"

#include "base/CTaskMem.h"
#include "base/LongPath.h"
#include "dataservices/Place.h"
#include "framework/uri/NameForLog.h"

namespace dataservices {

std::wstring UriOfStream(IStream& stream) {
    STATSTG stat{};
    if (FAILED(stream.Stat(&stat, STATFLAG_DEFAULT)))
        return {};
    const base::CTaskMem<wchar_t> name(stat.pwcsName);
    const boost::shared_ptr<const CTKFUri> uri = CTKFUri::Parse(name.Get());
    const bool isPartial = uri && uri->IsPath() && base::FullPathOf(uri->GetFilePath()) != uri->GetFilePath();
    // Our own streams don't reveal their query, and without it the URL would name another object.
    const bool isCut = name && std::wstring_view(name.Get()).ends_with(framework::kHiddenQuery);
    Place place;
    return isPartial || isCut || FAILED(FindPlace(uri, &place)) ? std::wstring() : UriOf(place);
}

}  // namespace dataservices
