// From MIME types to the subtypes of MEDIATYPE_Stream that parsers connect with.
#pragma once

#include <windows.h>

#include <span>

namespace filter {

struct MimeTypeRow {
    const wchar_t* mime;  // lower case
    GUID subtype;         // GUID_NULL: a stream, of a kind that has no subtype of its own
};

// All rows, in the order in which they are offered. A type may stand in several rows and so offers several subtypes;
// rows that stand twice offer their subtype twice.
[[nodiscard]] std::span<const MimeTypeRow> MimeTypeTable() noexcept;

}  // namespace filter
