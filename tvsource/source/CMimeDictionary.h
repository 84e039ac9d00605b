// The MIME dictionary as a host meets it: "TvMetadata.dll", loaded for as long as the object lives.
//
// Threads: any.  Errors: CCommandError.
#pragma once

#include "console/CCommandError.h"
#include "mime/CMimeLibrary.h"
#include "tvsource/source/CSourceFilter.h"

#include <optional>
#include <string>
#include <vector>

namespace tvsource {

class CMimeDictionary final {
public:
    struct Answer {
        std::vector<std::wstring> types;        // most certain first; empty: no known type
        std::vector<std::wstring> explanation;  // lines for people; only of Explain
        HRESULT result = S_OK;                  // S_FALSE: the source was so slow that not all was looked at
    };

    // Looks in `folder` (with a backslash at its end, or empty) first, then in the program's and the system's folders.
    explicit CMimeDictionary(const std::wstring& folder = L"");

    // What the content is. Leaves the stream where it stands, unless that fails.
    [[nodiscard]] Answer Detect(IStream* content) const;

    // The same, with the reasons. Another maker's dictionary may be unable to give reasons, which is an error.
    [[nodiscard]] Answer Explain(IStream* content) const;

private:
    mime::CMimeLibrary m_library;
    IMimeTypeDictionary* m_dictionary;  // the library's own
};

// What went wrong while the content was looked at; `result` is detection's result. Empty: nothing went wrong.
[[nodiscard]] std::optional<console::CCommandError> DetectionFault(HRESULT result);

// Why the filter found no type for its source.
[[nodiscard]] std::wstring WhyNoType(const CSourceFilter& source);

// The types, separated by commas; "-" for none.
[[nodiscard]] std::wstring MimeTypesText(const std::vector<std::wstring>& types);

}  // namespace tvsource
