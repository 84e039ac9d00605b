#include "tvsource/CHostError.h"

#include <objbase.h>
#include <strmif.h>

#include <errors.h>

#include "tvsource/Text.h"

CHostError::CHostError(const std::wstring& step, HRESULT result) : m_text(step + L": " + ResultText(result)) {}

std::wstring ResultText(HRESULT result) {
    // DirectShow's codes lie above those that COM keeps for itself in the same facility. Its function also gives a
    // text, one that only repeats the number, for codes that nobody knows; so it is asked for its own only.
    const bool directShow = HRESULT_FACILITY(result) == FACILITY_ITF && HRESULT_CODE(result) >= 0x200;
    wchar_t text[MAX_ERROR_TEXT_LEN]{};
    const DWORD length = directShow
                             ? ::AMGetErrorTextW(result, text, MAX_ERROR_TEXT_LEN)
                             : ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                                static_cast<DWORD>(result), 0, text, MAX_ERROR_TEXT_LEN, nullptr);
    std::wstring words(text, length);
    while (!words.empty() && (words.back() == L'\r' || words.back() == L'\n' || words.back() == L' '))
        words.pop_back();
    if (words == Format(L"Error: 0x%x", static_cast<unsigned>(result)))
        words.clear();
    const std::wstring code = Format(L"0x%08X", static_cast<unsigned>(result));
    return words.empty() ? code : code + L" (" + words + L")";
}

void Check(HRESULT result, const wchar_t* step) {
    if (FAILED(result))
        throw CHostError(step, result);
}
