// The library's dictionary: detection by content, and the names of MIME types.
//
// It has no state: any number of threads may use it at once.  Errors: no exception leaves it; out of memory gives null.
// sdk/TvMetadata.h says what each operation owes.
#pragma once

#include "sdk/TvMetadata.h"

namespace metadata {

class CMimeTypeDictionary : public IMimeTypeDictionary {
public:
    // IMimeTypeDictionary
    IMimeTypeList* STDMETHODCALLTYPE Detect(IStream* stream) noexcept override;
    IMimeTypeList* STDMETHODCALLTYPE FromExtension(const wchar_t* extension) noexcept override;
    const wchar_t* STDMETHODCALLTYPE PreferredExtension(const wchar_t* mime) noexcept override;
    IMimeTypeList* STDMETHODCALLTYPE Aliases(const wchar_t* mime) noexcept override;
    const wchar_t* STDMETHODCALLTYPE CanonicalName(const wchar_t* mime) noexcept override;
    IMimeTypeList* STDMETHODCALLTYPE KnownTypes() noexcept override;
    bool STDMETHODCALLTYPE IsMedia(const wchar_t* mime) noexcept override;
    bool STDMETHODCALLTYPE Matches(const wchar_t* tableMime, const wchar_t* candidate) noexcept override;
};

// The one dictionary of the module.
[[nodiscard]] IMimeTypeDictionary* MimeTypeDictionary() noexcept;

// Does what Detect does, and also says why where the pointers aren't null: see ExplainMimeTypesFn and
// DetectMimeTypesFn.
[[nodiscard]] IMimeTypeList* DetectAndExplain(IStream* stream, IMimeTypeList** explanation, HRESULT* result) noexcept;

}  // namespace metadata
