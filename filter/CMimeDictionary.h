// The MIME dictionary, "TvMetadata.dll", for the time of one decision: loaded by the constructor, unloaded by the
// destructor. It is looked for beside this DLL first, then in the folders of the application and the system.
//
// Threads: one. Several objects may exist; the loader counts.
#pragma once

#include "mime/CMimeLibrary.h"

#include <optional>
#include <string>
#include <vector>

namespace filter {

class CMimeDictionary final {
public:
    // Loads and logs what is missing: WARN no library, FATAL no export.
    CMimeDictionary();

    [[nodiscard]] bool IsLoaded() const noexcept { return m_library && m_library->IsLoaded(); }
    [[nodiscard]] bool HasDictionary() const noexcept { return m_dictionary != nullptr; }

    // The MIME types of the content, most certain first, without items that the library leaves null. `result`: how it
    // went, see CMimeLibrary::Detect. Call it only with a dictionary.
    [[nodiscard]] std::vector<std::wstring> Detect(IStream* content, HRESULT& result) const;

    // Whether the dictionary takes both for the same type. False without a dictionary.
    [[nodiscard]] bool Matches(const wchar_t* tableMime, const wchar_t* candidate) const {
        return m_dictionary && m_dictionary->Matches(tableMime, candidate);
    }

private:
    std::optional<mime::CMimeLibrary> m_library;  // made within a timing scope
    IMimeTypeDictionary* m_dictionary = nullptr;  // the library's own
};

}  // namespace filter
