#include "mime/CMimeLibrary.h"

#include <memory>

namespace mime {

namespace {

// Keeps the loader from showing a message box over the host when a library is damaged.
class CQuietLoader final {
public:
    CQuietLoader() noexcept { ::SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &m_previous); }
    CQuietLoader(const CQuietLoader&) = delete;
    CQuietLoader& operator=(const CQuietLoader&) = delete;
    ~CQuietLoader() { ::SetThreadErrorMode(m_previous, nullptr); }

private:
    DWORD m_previous = 0;
};

}  // namespace

CMimeLibrary::CMimeLibrary(const std::wstring& folder) {
    const CQuietLoader quiet;
    for (const std::wstring& place : {folder, std::wstring()}) {
        if (!m_library)
            m_library = base::LateLoad((place + kTvMetadataLibrary).c_str());
        // That one isn't elsewhere says less than what is wrong with the one that is there.
        if (!m_library && m_failure == kNotThere)
            m_failure = HRESULT_FROM_WIN32(::GetLastError());
    }
}

IMimeTypeDictionary* CMimeLibrary::Dictionary() const {
    const auto get = Export<GetMimeTypeDictionaryFn>(kGetMimeTypeDictionaryExport);
    return get ? get() : nullptr;
}

std::vector<std::wstring> CMimeLibrary::Detect(IMimeTypeDictionary& dictionary, IStream* content,
                                               HRESULT& result) const {
    result = S_OK;
    const auto detect = Export<DetectMimeTypesFn>(kDetectMimeTypesExport);
    IMimeTypeList* const types = detect ? detect(content, &result) : dictionary.Detect(content);
    if (!types)
        result = DetectionFailure(result);
    return TakeTexts(types);
}

std::vector<std::wstring> TakeTexts(IMimeTypeList* list) {
    const std::unique_ptr<IMimeTypeList, MimeTypeListDestroyer> owned(list);
    std::vector<std::wstring> texts;
    const long count = owned ? owned->GetCount() : 0;
    for (long index = 0; index < count; ++index) {
        if (const wchar_t* const text = owned->Item(index))
            texts.emplace_back(text);
    }
    return texts;
}

}  // namespace mime
