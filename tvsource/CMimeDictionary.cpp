#include "tvsource/CMimeDictionary.h"

#include <memory>

#include "tvsource/CHostError.h"

namespace {

struct ListDestroyer {
    void operator()(IMimeTypeList* list) const noexcept { list->Destroy(); }
};
using ListPtr = std::unique_ptr<IMimeTypeList, ListDestroyer>;

std::vector<std::wstring> Texts(const ListPtr& list) {
    std::vector<std::wstring> texts;
    const long count = list ? list->GetCount() : 0;
    for (long i = 0; i < count; ++i) {
        if (const wchar_t* const text = list->Item(i))
            texts.emplace_back(text);
    }
    return texts;
}

// By way of void*, because FARPROC and the real type have nothing in common that the compiler could check.
template <class Function>
Function Export(const CAutoLibrary& library, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library.Get(), name)));
}

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

CMimeDictionary::CMimeDictionary(const std::wstring& folder) {
    if (!folder.empty())
        m_library.Reset(
            ::LoadLibraryExW((folder + kTvMetadataLibrary).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    if (!m_library)
        m_library.Reset(::LoadLibraryW(kTvMetadataLibrary));
    if (!m_library)
        throw CHostError(std::wstring(kTvMetadataLibrary) + L" was not found", HRESULT_FROM_WIN32(::GetLastError()));
    if (const auto get = Export<GetMimeTypeDictionaryFn>(m_library, kGetMimeTypeDictionaryExport))
        m_dictionary = get();
    if (!m_dictionary)
        throw CHostError(std::wstring(kTvMetadataLibrary) + L" has no dictionary");
}

CMimeDictionary::Answer CMimeDictionary::Detect(IStream* content) const {
    const ListPtr types(m_dictionary->Detect(content));
    if (!types)
        ThrowReadError(content);
    return {Texts(types), {}};
}

CMimeDictionary::Answer CMimeDictionary::Explain(IStream* content) const {
    const auto explain = Export<ExplainMimeTypesFn>(m_library, kExplainMimeTypesExport);
    if (!explain)
        throw CHostError(std::wstring(L"this ") + kTvMetadataLibrary + L" gives no explanations");
    IMimeTypeList* lines = nullptr;
    const ListPtr types(explain(content, &lines));
    const ListPtr explanation(lines);
    if (!types)
        ThrowReadError(content);
    return {Texts(types), Texts(explanation)};
}

std::wstring MimeTypesText(const std::vector<std::wstring>& types) {
    std::wstring text;
    for (const std::wstring& type : types)
        text += (text.empty() ? L"" : L",") + type;
    return text.empty() ? L"-" : text;
}
