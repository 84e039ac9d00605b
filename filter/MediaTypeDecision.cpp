#include "filter/MediaTypeDecision.h"

#include "base/ComBoundary.h"
#include "filter/CMimeDictionary.h"
#include "filter/DataServiceMimeType.h"
#include "filter/MimeTypeTable.h"

#include <uuids.h>

#include <cwchar>

namespace filter {

namespace {

// The data-service layer is asked only if there is a library that has no dictionary. Without any library no MIME type
// is looked for at all, so that a bare machine doesn't start foreign servers at every load.
std::vector<std::wstring> FindMimeTypes(const CMimeDictionary& library, IStream* content,
                                        std::optional<HRESULT>& result) {
    result.reset();
    if (library.HasDictionary())
        return library.Detect(content, result.emplace());
    if (library.IsLoaded())
        return MimeTypeFromDataServices(content);
    return {};
}

}  // namespace

std::vector<OfferedType> TypesOf(IStream* content, std::optional<HRESULT>& result) {
    const CMimeDictionary library;
    std::vector<OfferedType> types;
    for (const std::wstring& candidate : FindMimeTypes(library, content, result)) {
        if (candidate.empty())
            continue;
        for (const MimeTypeRow& row : MimeTypeTable()) {
            if (::_wcsicmp(row.mime, candidate.c_str()) == 0 || library.Matches(row.mime, candidate.c_str()))
                types.push_back({MEDIATYPE_Stream, row.subtype});
        }
    }
    return types;
}

}  // namespace filter
