// Text where a null pointer stands for none.
#pragma once

namespace base {

[[nodiscard]] constexpr const wchar_t* OrEmpty(const wchar_t* text) noexcept {
    return text ? text : L"";
}

}  // namespace base
