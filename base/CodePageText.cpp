#include "base/CodePageText.h"

namespace base {

namespace {

// Runs the conversion twice: first for the length (0 is a failure), then for the text.
template <class Char, class Convert>
std::unique_ptr<Char[]> Converted(Convert&& convert) {
    const int characters = convert(nullptr, 0);
    if (characters <= 0)
        throw CAtlException(E_OUTOFMEMORY);
    std::unique_ptr<Char[]> text = AllocateText<Char>(static_cast<std::size_t>(characters));
    if (convert(text.get(), characters) != characters)
        throw CAtlException(E_OUTOFMEMORY);
    return text;
}

}  // namespace

std::unique_ptr<char[]> NarrowOfWide(UINT codePage, const wchar_t* text) {
    return Converted<char>(
        [=](char* to, int size) { return ::WideCharToMultiByte(codePage, 0, text, -1, to, size, nullptr, nullptr); });
}

std::unique_ptr<wchar_t[]> WideOfNarrow(UINT codePage, const char* text) {
    return Converted<wchar_t>(
        [=](wchar_t* to, int size) { return ::MultiByteToWideChar(codePage, 0, text, -1, to, size); });
}

}  // namespace base
