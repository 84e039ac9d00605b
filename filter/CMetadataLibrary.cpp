#include "filter/CMetadataLibrary.h"

#include "diagnostics/ModuleFolder.h"
#include "filter/FilterLog.h"

#include <memory>

namespace {

constexpr wchar_t kFunction[] = L"CCustomFileSourceFilter::SetSourceFileStream";

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

HMODULE LoadCompanion(const wchar_t* fileName) {
    const CQuietLoader quiet;
    const std::wstring folder = ModuleFolder(&kFunction);
    if (!folder.empty()) {
        if (const HMODULE library =
                ::LoadLibraryExW((folder + fileName).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH))
            return library;
    }
    return ::LoadLibraryW(fileName);
}

struct MimeTypeListDestroyer {
    void operator()(IMimeTypeList* list) const noexcept { list->Destroy(); }
};

}  // namespace

CMetadataLibrary::CMetadataLibrary() {
    {
        TK_PROFILE(kFilterLog, kFunction, L"Loading TvMetaData.dll");
        m_library.Reset(LoadCompanion(kTvMetadataLibrary));
    }
    if (!m_library) {
        TK_LOG(kFilterLog, TKRuntimeLogger::kWarn, kFunction, L"TvMetadata.dll was not found");
        return;
    }
    const auto getDictionary = reinterpret_cast<GetMimeTypeDictionaryFn>(
        reinterpret_cast<void*>(::GetProcAddress(m_library.Get(), kGetMimeTypeDictionaryExport)));
    if (!getDictionary) {
        TK_LOG(kFilterLog, TKRuntimeLogger::kFatal, kFunction, L"Cannot get function pointer to GetMimeTypeDictionary");
        return;
    }
    TK_PROFILE(kFilterLog, kFunction, L"Getting Mimetype Dictionary");
    m_dictionary = getDictionary();
}

std::vector<std::wstring> CMetadataLibrary::Detect(IStream* content) const {
    TK_PROFILE(kFilterLog, kFunction, L"Extracting MimeType via MimeTypeDictionary");
    std::vector<std::wstring> mimeTypes;
    const std::unique_ptr<IMimeTypeList, MimeTypeListDestroyer> list(m_dictionary->Detect(content));
    const long count = list ? list->GetCount() : 0;
    for (long index = 0; index < count; ++index) {
        if (const wchar_t* mime = list->Item(index))
            mimeTypes.emplace_back(mime);
    }
    return mimeTypes;
}
