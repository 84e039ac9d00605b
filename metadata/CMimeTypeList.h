// A list of texts that crosses the library's edge: MIME types, or the lines of an explanation.
//
// Threads: one.  Lifetime: until Destroy; the texts are the list's own.
#pragma once

#include "sdk/TvMetadata.h"

#include <string>
#include <vector>

namespace metadata {

class CMimeTypeList final : public IMimeTypeList {
public:
    explicit CMimeTypeList(std::vector<std::wstring> items) noexcept : m_items(std::move(items)) {}
    CMimeTypeList(const CMimeTypeList&) = delete;
    CMimeTypeList& operator=(const CMimeTypeList&) = delete;

    // IMimeTypeList
    long STDMETHODCALLTYPE GetCount() noexcept override { return static_cast<long>(m_items.size()); }
    // Null for an index out of range, negative ones included.
    const wchar_t* STDMETHODCALLTYPE Item(long index) noexcept override;
    void STDMETHODCALLTYPE Destroy() noexcept override { delete this; }

private:
    ~CMimeTypeList() = default;

    const std::vector<std::wstring> m_items;
};

}  // namespace metadata
