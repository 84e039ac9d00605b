#include "tvsource/CMimeDictionary.h"

#include "tvsource/CHostError.h"

namespace {

// The dictionary says only that the stream failed. Reading it once more tells why.
[[noreturn]] void ThrowReadError(IStream* content) {
    BYTE byte = 0;
    ULONG read = 0;
    ULARGE_INTEGER position{};
    HRESULT hr = content->Seek({}, STREAM_SEEK_SET, &position);
    if (SUCCEEDED(hr))
        hr = content->Read(&byte, 1, &read);
    throw CHostError(L"Cannot read it", FAILED(hr) ? hr : E_FAIL);
}

}  // namespace

CMimeDictionary::CMimeDictionary(const std::wstring& folder) : m_library(folder), m_dictionary(m_library.Dictionary()) {
    if (!m_library.IsLoaded())
        throw CHostError(std::wstring(kTvMetadataLibrary) + L" was not found or cannot be loaded");
    if (!m_dictionary)
        throw CHostError(std::wstring(kTvMetadataLibrary) + L" has no dictionary");
}

CMimeDictionary::Answer CMimeDictionary::Detect(IStream* content) const {
    IMimeTypeList* const types = m_dictionary->Detect(content);
    if (!types)
        ThrowReadError(content);
    return {TakeTexts(types), {}};
}

CMimeDictionary::Answer CMimeDictionary::Explain(IStream* content) const {
    const auto explain = m_library.Export<ExplainMimeTypesFn>(kExplainMimeTypesExport);
    if (!explain)
        throw CHostError(std::wstring(L"this ") + kTvMetadataLibrary + L" gives no explanations");
    IMimeTypeList* lines = nullptr;
    IMimeTypeList* const types = explain(content, &lines);
    Answer answer{TakeTexts(types), TakeTexts(lines)};
    if (!types)
        ThrowReadError(content);
    return answer;
}

std::wstring MimeTypesText(const std::vector<std::wstring>& types) {
    std::wstring text;
    for (const std::wstring& type : types)
        text += (text.empty() ? L"" : L",") + type;
    return text.empty() ? L"-" : text;
}
