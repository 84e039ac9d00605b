// The media type of a connection in a few words.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <strmif.h>

#include <string>

namespace tvsource {

// "Stream / WAVE", "video RGB24 320x240", "audio PCM 44100 Hz 2 ch". What has no name stands as a GUID.
[[nodiscard]] std::wstring ConnectionText(const AM_MEDIA_TYPE& type);

}  // namespace tvsource
