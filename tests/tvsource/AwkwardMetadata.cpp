// A metadata library that says what the content tells it to, in three parts with a bar behind each:
//
//   audio/wav|video/avi|1|      the MIME type that the dictionary's own operation finds, the one that the exports find,
//                               and the exports' result as a hexadecimal number; a type of "!" is a failure
#include "sdk/TvMetadata.h"

#include <cstdlib>
#include <sstream>
#include <string>

namespace {

struct CList final : IMimeTypeList {
    explicit CList(const std::string& text) : m_text(text.begin(), text.end()) {}
    long STDMETHODCALLTYPE GetCount() noexcept override { return m_text.empty() ? 0 : 1; }
    const wchar_t* STDMETHODCALLTYPE Item(long) noexcept override { return m_text.c_str(); }
    void STDMETHODCALLTYPE Destroy() noexcept override { delete this; }

private:
    const std::wstring m_text;
};

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
    return parts[part] == "!" ? nullptr : new CList(parts[part]);
}

struct CDictionary final : IMimeTypeDictionary {
    IMimeTypeList* STDMETHODCALLTYPE Detect(IStream* stream) noexcept override { return Find(stream, 0, nullptr); }
    IMimeTypeList* STDMETHODCALLTYPE FromExtension(const wchar_t*) noexcept override { return nullptr; }
    const wchar_t* STDMETHODCALLTYPE PreferredExtension(const wchar_t*) noexcept override { return nullptr; }
    IMimeTypeList* STDMETHODCALLTYPE Aliases(const wchar_t*) noexcept override { return nullptr; }
    const wchar_t* STDMETHODCALLTYPE CanonicalName(const wchar_t*) noexcept override { return nullptr; }
    IMimeTypeList* STDMETHODCALLTYPE KnownTypes() noexcept override { return nullptr; }
    bool STDMETHODCALLTYPE IsMedia(const wchar_t*) noexcept override { return false; }
    bool STDMETHODCALLTYPE Matches(const wchar_t*, const wchar_t*) noexcept override { return false; }
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
    *explanation = types ? new CList("because") : nullptr;
    return types;
}
