// A MIME dictionary that says what the content tells it to, in three parts with a bar behind each:
//
//   audio/wav|video/avi|1|      the MIME type that the dictionary's own operation finds, the one that the exports find,
//                               and the exports' result as a hexadecimal number; a type of "!" is a failure
#include "metadata/CMimeTypeDictionary.h"
#include "metadata/CMimeTypeList.h"

#include <cstdlib>
#include <sstream>
#include <string>

using namespace metadata;

namespace {

IMimeTypeList* Find(IStream* stream, int part, HRESULT* result) {
    char buffer[100]{};
    ULONG read = 0;
    stream->Read(buffer, sizeof buffer - 1, &read);
    ULARGE_INTEGER start{};
    stream->Seek({}, STREAM_SEEK_SET, &start);
    std::istringstream content{buffer};
    std::string parts[3];
    for (std::string& each : parts)
        std::getline(content, each, '|');
    if (result)
        *result = static_cast<HRESULT>(std::strtoul(parts[2].c_str(), nullptr, 16));
    const std::wstring type(parts[part].begin(), parts[part].end());
    return type == L"!" ? nullptr : new CMimeTypeList(std::vector(type.empty() ? 0u : 1u, type));
}

struct CDictionary final : CMimeTypeDictionary {
    IMimeTypeList* STDMETHODCALLTYPE Detect(IStream* stream) noexcept override { return Find(stream, 0, nullptr); }
} g_dictionary;

}  // namespace

extern "C" IMimeTypeDictionary* STDMETHODCALLTYPE GetMimeTypeDictionary() {
    return &g_dictionary;
}

extern "C" IMimeTypeList* STDMETHODCALLTYPE DetectMimeTypes(IStream* stream, HRESULT* result) {
    return Find(stream, 1, result);
}

extern "C" IMimeTypeList* STDMETHODCALLTYPE ExplainMimeTypes(IStream* stream, IMimeTypeList** explanation,
                                                             HRESULT* result) {
    IMimeTypeList* const types = Find(stream, 1, result);
    *explanation = types ? new CMimeTypeList({L"because"}) : nullptr;
    return types;
}
