// The MIME dictionary, "TvMetadata.dll": loaded by the constructor, unloaded by the destructor.
//
// Threads: one. Several objects may exist; the loader counts.  Errors: std::bad_alloc; a failure of a library is a
// result.
#pragma once

#include "base/LateLoad.h"
#include "sdk/TvMetadata.h"

#include <string>
#include <vector>

namespace mime {

class CMimeLibrary final {
public:
    // Looks in `folder` (with a backslash at its end, or empty) first, then in the folders of
    // the application and the system. A damaged library shows no message box.
    explicit CMimeLibrary(const std::wstring& folder);

    [[nodiscard]] bool IsLoaded() const noexcept { return static_cast<bool>(m_library); }

    // Why it isn't loaded; kNotThere: there is none, or one that it needs itself is missing.
    static constexpr HRESULT kNotThere = __HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    [[nodiscard]] HRESULT Failure() const noexcept { return m_failure; }

    // One of the library's exports, or null.
    template <class Function>
    [[nodiscard]] Function Export(const char* name) const noexcept {
        return base::ExportOf<Function>(m_library, name);
    }

    // The library's dictionary: null where there is no library, no export, or no dictionary.
    [[nodiscard]] IMimeTypeDictionary* Dictionary() const;

    // The MIME types of the content by `dictionary`, which is this library's own. `result` receives what
    // DetectMimeTypesFn gives. If the library lacks that export, `result` is S_OK, or STG_E_READFAULT where the library
    // says only that it failed.
    [[nodiscard]] std::vector<std::wstring> Detect(IMimeTypeDictionary& dictionary, IStream* content,
                                                   HRESULT& result) const;

private:
    base::CAutoLibrary m_library;
    HRESULT m_failure = kNotThere;
};

// The failure to report where there is no list. A null list means that the content could not be looked at. If `result`
// is a success all the same, the reason isn't known.
[[nodiscard]] constexpr HRESULT DetectionFailure(HRESULT result) noexcept {
    return FAILED(result) ? result : STG_E_READFAULT;
}

// The texts of `list`, without those that the library leaves null; destroys the list. Empty for a null list.
[[nodiscard]] std::vector<std::wstring> TakeTexts(IMimeTypeList* list);

}  // namespace mime
