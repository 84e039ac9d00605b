#include "filter/CMimeDictionary.h"

#include "base/ModuleFolder.h"
#include "filter/FilterLog.h"

namespace filter {

namespace {

constexpr wchar_t kFunction[] = L"CCustomFileSourceFilter::SetSourceFileStream";

}  // namespace

CMimeDictionary::CMimeDictionary() {
    {
        TK_PROFILE(kFilterLog, kFunction, L"Loading TvMetaData.dll");
        m_library.emplace(base::OwnModuleFolder());
    }
    if (!IsLoaded()) {
        TK_LOG(kFilterLog, TKRuntimeLogger::kWarn, kFunction, L"TvMetadata.dll was not found");
        return;
    }
    if (!m_library->Export<GetMimeTypeDictionaryFn>(kGetMimeTypeDictionaryExport)) {
        TK_LOG(kFilterLog, TKRuntimeLogger::kFatal, kFunction, L"Cannot get function pointer to GetMimeTypeDictionary");
        return;
    }
    TK_PROFILE(kFilterLog, kFunction, L"Getting Mimetype Dictionary");
    m_dictionary = m_library->Dictionary();
}

std::vector<std::wstring> CMimeDictionary::Detect(IStream* content, HRESULT& result) const {
    TK_PROFILE(kFilterLog, kFunction, L"Extracting MimeType via MimeTypeDictionary");
    return m_library->Detect(*m_dictionary, content, result);
}

}  // namespace filter
