// Media types of byte streams, by name: what a source may offer, and what a host may name instead.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <strmif.h>

#include <memory>
#include <optional>
#include <string>

namespace tvsource {

// A media type allocated by the platform, with its format block.
struct CMediaTypeFreer {
    void operator()(AM_MEDIA_TYPE* type) const noexcept;
};
using MediaTypePtr = std::unique_ptr<AM_MEDIA_TYPE, CMediaTypeFreer>;

// Major type and subtype: all that the filter decides about a source.
struct StreamType {
    GUID major;
    GUID subtype;

    // The pair of GUID_NULL, by which the filter says that it found no type.
    [[nodiscard]] bool IsUnknown() const noexcept { return major == GUID_NULL && subtype == GUID_NULL; }
};

// In braces.
[[nodiscard]] std::wstring GuidText(const GUID& guid);

// "Stream / WAVE"; a GUID without a name stands in braces.
[[nodiscard]] std::wstring TypeText(const StreamType& type);

// A name from the table ("WAVE", in any case) or a GUID in braces; empty for anything else.
[[nodiscard]] std::optional<GUID> SubtypeFromText(const std::wstring& text);

// The names that SubtypeFromText knows, separated by commas.
[[nodiscard]] std::wstring SubtypeNames();

}  // namespace tvsource
