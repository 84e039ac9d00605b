#include "metadata/CMimeTypeList.h"

namespace metadata {

const wchar_t* STDMETHODCALLTYPE CMimeTypeList::Item(long index) noexcept {
    if (index < 0 || index >= GetCount())
        return nullptr;
    return m_items[static_cast<size_t>(index)].c_str();
}

}  // namespace metadata
