// What a parser says of the streams that it found: taken from their media types, and told as text and as JSON.
#pragma once

#include "console/Json.h"

#include <windows.h>

#include <objbase.h>
#include <strmif.h>

#include <optional>
#include <string>
#include <vector>

namespace tvsource {

enum class StreamKind { Video, Audio, Other };

struct StreamFormat {
    StreamKind kind = StreamKind::Other;
    GUID major{};
    GUID subtype{};
    std::wstring code;   // "MJPG" where the subtype has one, "0x0055" for a wave format tag; may be empty
    std::wstring codec;  // its usual name; empty: not in the table
    // Of a picture. A height is never negative here.
    std::optional<LONGLONG> width, height;
    std::optional<double> frameRate;  // pictures a second
    // Of sound.
    std::optional<DWORD> sampleRate;  // samples a second, of one channel
    std::optional<DWORD> channels;
    // Of one sample or of one picture's point; not told of what is compressed.
    std::optional<DWORD> bits;
};

// One output pin of a parser.
struct ParserStream {
    std::wstring pin;
    StreamFormat format;
    std::vector<std::wstring> route;  // the names of the filters behind it
    HRESULT result = S_OK;            // a failure: it goes nowhere
};

// A format block that isn't long enough for what it claims to be tells nothing.
[[nodiscard]] StreamFormat FormatOf(const AM_MEDIA_TYPE& type);

// By the first media type that the pin offers.
[[nodiscard]] StreamFormat FormatOf(IPin* pin);

// "video: Motion JPEG (MJPG), 64x48, 10 frames/s"
[[nodiscard]] std::wstring FormatText(const StreamFormat& format);

// "Stream 00 (video: ...) -> Null Renderer"
[[nodiscard]] std::wstring StreamText(const ParserStream& stream);

// "pin", "kind", "major", "subtype", "codecCode", "codec"; of a picture "width", "height", "frameRate"; of sound
// "sampleRate", "channels"; "bits"; "route". What isn't known is null. A stream that goes nowhere has "code", too.
[[nodiscard]] console::Json JsonStream(const ParserStream& stream);
[[nodiscard]] console::Json JsonStreams(const std::vector<ParserStream>& streams);

}  // namespace tvsource
