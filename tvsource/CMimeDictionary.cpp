#include "tvsource/CMimeDictionary.h"

#include "tvsource/CHostError.h"

namespace tvsource {

namespace {

CMimeDictionary::Answer AnswerOf(std::vector<std::wstring> types, HRESULT result) {
    if (const std::wstring fault = DetectionFault(result); FAILED(result))
        throw CHostError(fault);
    return {std::move(types), {}, result};
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
    std::vector<std::wstring> types = m_library.Detect(*m_dictionary, content, result);
    return AnswerOf(std::move(types), result);
}

CMimeDictionary::Answer CMimeDictionary::Explain(IStream* content) const {
    const auto explain = m_library.Export<ExplainMimeTypesFn>(kExplainMimeTypesExport);
    if (!explain)
        throw CHostError(std::wstring(L"this ") + kTvMetadataLibrary + L" gives no explanations");
    HRESULT result = S_OK;
    IMimeTypeList* lines = nullptr;
    IMimeTypeList* const types = explain(content, &lines, &result);
    std::vector<std::wstring> explanation = mime::TakeTexts(lines);
    Answer answer = AnswerOf(mime::TakeTexts(types), types ? result : mime::DetectionFailure(result));
    answer.explanation = std::move(explanation);
    return answer;
}

std::wstring DetectionFault(HRESULT result) {
    if (FAILED(result))
        return L"Cannot read it: " + ResultText(result);
    return result == S_FALSE ? L"the source is slow: only what came in time was judged" : L"";
}

std::wstring MimeTypesText(const std::vector<std::wstring>& types) {
    std::wstring text;
    for (const std::wstring& type : types)
        text += (text.empty() ? L"" : L",") + type;
    return text.empty() ? L"-" : text;
}

}  // namespace tvsource
