// A name of a source together with what the grammar finds in it. The name is parsed here, once; whoever needs it after
// that, the log and the opening of the source, gets this and not the text.
//
// Threads: any for reading.  Errors: std::bad_alloc.
#pragma once

#include "framework/uri/CTKFUri.h"

#include <boost/shared_ptr.hpp>

#include <string>

namespace framework {

class CParsedName final {
public:
    CParsedName() noexcept = default;  // the empty name

    // `text` is a path or a URI, see CTKFUri; null is the empty name.
    explicit CParsedName(const wchar_t* text) : m_text(text ? text : L""), m_uri(CTKFUri::Parse(m_text.c_str())) {}

    // As it was given.
    [[nodiscard]] const std::wstring& Text() const noexcept { return m_text; }

    // Null: the text is no name for CTKFUri. A data service of another maker may still know it.
    [[nodiscard]] const CTKFUri* Uri() const noexcept { return m_uri.get(); }

private:
    std::wstring m_text;
    boost::shared_ptr<const CTKFUri> m_uri;
};

}  // namespace framework
