#include "tvsource/source/MediaTypes.h"

#include "baseclasses/MediaTypeCopies.h"
#include "baseclasses/StreamSubtypes.h"

#include <uuids.h>

#include <algorithm>
#include <cwchar>

namespace tvsource {

namespace {

struct NamedSubtype {
    const wchar_t* name;
    const GUID& subtype;
};

const NamedSubtype kSubtypes[] = {
    {L"any", GUID_NULL},
    {L"WAVE", MEDIASUBTYPE_WAVE},
    {L"AU", MEDIASUBTYPE_AU},
    {L"AIFF", MEDIASUBTYPE_AIFF},
    {L"Avi", MEDIASUBTYPE_Avi},
    {L"MPEG1Audio", MEDIASUBTYPE_MPEG1Audio},
    {L"MPEG1Video", MEDIASUBTYPE_MPEG1Video},
    {L"MPEG1System", MEDIASUBTYPE_MPEG1System},
    {L"MPEG1VideoCD", MEDIASUBTYPE_MPEG1VideoCD},
    {L"MPEG2Program", MEDIASUBTYPE_MPEG2_PROGRAM},
    {L"MPEG2Transport", MEDIASUBTYPE_MPEG2_TRANSPORT},
    {L"AC3", MEDIASUBTYPE_DOLBY_AC3},
    {L"Ogg", kOggSubtype},
};

}  // namespace

std::wstring GuidText(const GUID& guid) {
    wchar_t text[39]{};
    ::StringFromGUID2(guid, text, 39);
    return text;
}

void CMediaTypeFreer::operator()(AM_MEDIA_TYPE* type) const noexcept {
    DeleteMediaType(type);
}

std::wstring TypeText(const StreamType& type) {
    if (type.IsUnknown())
        return L"none (no type was found)";
    const auto* named = std::find_if(std::begin(kSubtypes), std::end(kSubtypes),
                                     [&](const NamedSubtype& row) { return row.subtype == type.subtype; });
    return (type.major == MEDIATYPE_Stream ? L"Stream" : GuidText(type.major)) + L" / " +
           (named != std::end(kSubtypes) ? named->name : GuidText(type.subtype));
}

std::optional<GUID> SubtypeFromText(const std::wstring& text) {
    for (const NamedSubtype& row : kSubtypes) {
        if (::_wcsicmp(row.name, text.c_str()) == 0)
            return row.subtype;
    }
    GUID guid{};
    if (!text.empty() && text.front() == L'{' && SUCCEEDED(::CLSIDFromString(text.c_str(), &guid)))
        return guid;
    return std::nullopt;
}

std::wstring SubtypeNames() {
    std::wstring names;
    for (const NamedSubtype& row : kSubtypes)
        names += (names.empty() ? L"" : L", ") + std::wstring(row.name);
    return names;
}

}  // namespace tvsource
