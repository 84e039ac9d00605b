// The MIME types that the library knows: their preferred names, other names in use, and file name extensions.
//
// Types are compared without case, parameters (from the first ';' on) and blanks.
//
// No argument may be null.  Threads: any; the tables are constant.  Errors: std::bad_alloc from those that return
// texts.
#pragma once

#include <string>
#include <vector>

namespace metadata {

// Whether both name the same type. An unknown type is the same as itself only.
[[nodiscard]] bool IsSameMimeType(const wchar_t* one, const wchar_t* other) noexcept;

// The preferred name; null for a type that isn't known.
[[nodiscard]] const wchar_t* CanonicalMimeType(const wchar_t* mime) noexcept;

// All names of the type, the preferred one first; none for a type that isn't known.
[[nodiscard]] std::vector<std::wstring> NamesOfMimeType(const wchar_t* mime);

// The preferred names of all types, in the order of the table.
[[nodiscard]] std::vector<std::wstring> KnownMimeTypes();

// Whether the type is known, or is audio or video of another kind.
[[nodiscard]] bool IsMediaType(const wchar_t* mime) noexcept;

// The usual extension, with its dot; null when the type isn't known or has none.
[[nodiscard]] const wchar_t* ExtensionOfMimeType(const wchar_t* mime) noexcept;

// The types of files with that extension, which is written with or without its dot, in any case; the most usual first.
[[nodiscard]] std::vector<std::wstring> MimeTypesOfExtension(const wchar_t* extension);

}  // namespace metadata
