#include "tvsource/source/CMimeDictionary.h"

#include "base/ModuleFolder.h"
#include "console/CCommandError.h"
#include "console/Text.h"

namespace tvsource {

namespace {

CMimeDictionary::Answer AnswerOf(std::vector<std::wstring> types, HRESULT result) {
    if (FAILED(result))
        throw *DetectionFault(result);
    return {std::move(types), {}, result};
}

}  // namespace

CMimeDictionary::CMimeDictionary(const std::wstring& folder) : m_library(folder), m_dictionary(m_library.Dictionary()) {
    if (!m_library.IsLoaded() && m_library.Failure() == mime::CMimeLibrary::kNotThere)
        throw console::CCommandError(std::wstring(kTvMetadataLibrary) + L" was not found")
            .Advise(L"the MIME dictionary belongs into " +
                    console::Printable(folder.empty() ? base::OwnModuleFolder() : folder));
    if (!m_library.IsLoaded())
        throw console::CCommandError(L"Cannot load " + std::wstring(kTvMetadataLibrary), m_library.Failure());
    if (!m_dictionary)
        throw console::CCommandError(std::wstring(kTvMetadataLibrary) + L" has no dictionary");
}

CMimeDictionary::Answer CMimeDictionary::Detect(IStream* content) const {
    HRESULT result = S_OK;
    std::vector<std::wstring> types = m_library.Detect(*m_dictionary, content, result);
    return AnswerOf(std::move(types), result);
}

CMimeDictionary::Answer CMimeDictionary::Explain(IStream* content) const {
    const auto explain = m_library.Export<ExplainMimeTypesFn>(kExplainMimeTypesExport);
    if (!explain)
        throw console::CCommandError(std::wstring(L"this ") + kTvMetadataLibrary + L" gives no explanations");
    HRESULT result = S_OK;
    IMimeTypeList* lines = nullptr;
    IMimeTypeList* const types = explain(content, &lines, &result);
    std::vector<std::wstring> explanation = mime::TakeTexts(lines);
    Answer answer = AnswerOf(mime::TakeTexts(types), types ? result : mime::DetectionFailure(result));
    answer.explanation = std::move(explanation);
    return answer;
}

std::optional<console::CCommandError> DetectionFault(HRESULT result) {
    if (FAILED(result))
        return console::CCommandError(L"Cannot read it", result);
    return result == S_FALSE
               ? std::optional(console::CCommandError(L"the source is slow: only what came in time was judged"))
               : std::nullopt;
}

std::wstring WhyNoType(const CSourceFilter& source) {
    try {
        if (const auto fault = DetectionFault(source.DetectionResult().value_or(S_OK)))
            return fault->Text();
        const CMimeDictionary present(source.Folder());  // without it the filter can't look at the content at all
        return L"the content is of no known type";
    } catch (const console::CCommandError& error) {
        return error.Text();
    }
}

std::wstring MimeTypesText(const std::vector<std::wstring>& types) {
    std::wstring text;
    for (const std::wstring& type : types)
        text += (text.empty() ? L"" : L",") + type;
    return text.empty() ? L"-" : text;
}

}  // namespace tvsource
