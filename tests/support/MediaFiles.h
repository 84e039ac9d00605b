// The files of tests/media that tests name for what they stand for.
#pragma once

// No MIME type of the dictionary and no row of the filter's table fit it.
inline constexpr wchar_t kFormatWithoutAType[] = L"tone.flac";
