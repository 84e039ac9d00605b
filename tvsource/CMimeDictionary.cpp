#include "tvsource/CMimeDictionary.h"

#include "tvsource/CHostError.h"

namespace {

// A null list says that the content could not be looked at, and a `result` that is a success not why.
CMimeDictionary::Answer TakeAnswer(IMimeTypeList* types, HRESULT result) {
    if (!types)
        throw CHostError(L"Cannot read it", FAILED(result) ? result : STG_E_READFAULT);
    return {TakeTexts(types), {}, result == S_FALSE};
}

}  // namespace

CMimeDictionary::CMimeDictionary(const std::wstring& folder) : m_library(folder), m_dictionary(m_library.Dictionary()) {
    if (!m_library.IsLoaded())
        throw CHostError(std::wstring(kTvMetadataLibrary) + L" was not found or cannot be loaded");
    if (!m_dictionary)
        throw CHostError(std::wstring(kTvMetadataLibrary) + L" has no dictionary");
}

CMimeDictionary::Answer CMimeDictionary::Detect(IStream* content) const {
    HRESULT result = S_OK;
    if (const auto detect = m_library.Export<DetectMimeTypesFn>(kDetectMimeTypesExport)) {
        IMimeTypeList* const types = detect(content, &result);
        return TakeAnswer(types, result);
    }
    return TakeAnswer(m_dictionary->Detect(content), result);
}

CMimeDictionary::Answer CMimeDictionary::Explain(IStream* content) const {
    const auto explain = m_library.Export<ExplainMimeTypesFn>(kExplainMimeTypesExport);
    if (!explain)
        throw CHostError(std::wstring(L"this ") + kTvMetadataLibrary + L" gives no explanations");
    HRESULT result = S_OK;
    IMimeTypeList* lines = nullptr;
    IMimeTypeList* const types = explain(content, &lines, &result);
    std::vector<std::wstring> explanation = TakeTexts(lines);
    Answer answer = TakeAnswer(types, result);
    answer.explanation = std::move(explanation);
    return answer;
}

std::wstring MimeTypesText(const std::vector<std::wstring>& types) {
    std::wstring text;
    for (const std::wstring& type : types)
        text += (text.empty() ? L"" : L",") + type;
    return text.empty() ? L"-" : text;
}
