#include "baseclasses/CTaskText.h"

#include <cstring>
#include <cwchar>

CTaskText CopyTaskText(const wchar_t* text) noexcept {
    const wchar_t* const source = text ? text : L"";
    const size_t bytes = (std::wcslen(source) + 1) * sizeof(wchar_t);
    CTaskText copy{static_cast<wchar_t*>(::CoTaskMemAlloc(bytes))};
    if (copy)
        std::memcpy(copy.get(), source, bytes);
    return copy;
}
