#include "tvsource/CHostError.h"

#include "TKDataServices.h"
#include "base/FormatText.h"
#include "diagnostics/HResultText.h"

#include <objbase.h>
#include <strmif.h>

#include <errors.h>
#include <winhttp.h>

#include <algorithm>
#include <iterator>

namespace tvsource {

namespace {

// Results that the system has no text for, or a vague text, or one with placeholders.
constexpr struct {
    ULONG result;
    const wchar_t* words;
} kOurWords[] = {
    {TKDS_HTTP_STATUS_BASE | HTTP_STATUS_DENIED, L"needs credentials"},
    {TKDS_HTTP_STATUS_BASE | HTTP_STATUS_FORBIDDEN, L"forbidden"},
    {TKDS_HTTP_STATUS_BASE | HTTP_STATUS_NOT_FOUND, L"not found"},
    {TKDS_HTTP_STATUS_BASE | HTTP_STATUS_PROXY_AUTH_REQ, L"the proxy needs credentials"},
    {TKDS_HTTP_STATUS_BASE | HTTP_STATUS_GONE, L"gone"},
    {TKDS_HTTP_STATUS_BASE | 429, L"too many requests"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_NAME_NOT_RESOLVED)), L"name of the server not resolved"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_CANNOT_CONNECT)), L"connection refused"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_TIMEOUT)), L"timed out"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_CONNECTION_ERROR)), L"connection broken off"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_SECURE_FAILURE)),
     L"no secure connection: the certificate or the TLS handshake is not good"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_REDIRECT_FAILED)),
     L"redirected too often, or to a target that is not allowed"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_INVALID_SERVER_RESPONSE)),
     L"the server's answer makes no sense"},
    {static_cast<ULONG>(STG_E_REVERTED), L"the source has changed"},
    {0x80040001, L"no such file, folder or share"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)), L"no such file"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND)), L"no such folder"},
    {static_cast<ULONG>(E_ACCESSDENIED), L"access denied"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION)), L"in use by another program"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_LOCK_VIOLATION)), L"in use by another program"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_BAD_EXE_FORMAT)), sizeof(void*) == 8
                                                                       ? L"damaged, or no library for 64-bit programs"
                                                                       : L"damaged, or no library for 32-bit programs"},
};

// Empty: the system may know better.
std::wstring OurWords(HRESULT result) {
    const ULONG code = static_cast<ULONG>(result);
    const auto* const found =
        std::find_if(std::begin(kOurWords), std::end(kOurWords), [&](auto& row) { return row.result == code; });
    std::wstring words = found != std::end(kOurWords) ? found->words : L"";
    if ((code & 0xFFFF0000) != TKDS_HTTP_STATUS_BASE)
        return words;
    const ULONG status = code & 0xFFFF;
    if (status >= 500 && status < 600)
        words = L"server error";
    return words + (words.empty() ? L"" : L", ") + base::FormatText(L"HTTP status %u", status);
}

std::wstring SystemWords(HRESULT result) {
    // DirectShow's codes lie above those that COM keeps for itself in the same facility. DirectShow's function also
    // gives a text for codes that nobody knows, which only repeats the number; so it is asked for DirectShow's own
    // codes only.
    const bool directShow = HRESULT_FACILITY(result) == FACILITY_ITF && HRESULT_CODE(result) >= 0x200;
    wchar_t text[MAX_ERROR_TEXT_LEN]{};
    std::wstring words = directShow ? std::wstring(text, ::AMGetErrorTextW(result, text, MAX_ERROR_TEXT_LEN))
                                    : TKRuntimeLogger::SystemText(result, FORMAT_MESSAGE_IGNORE_INSERTS);
    while (!words.empty() && (words.back() == L'\r' || words.back() == L'\n' || words.back() == L' '))
        words.pop_back();
    if (words == base::FormatText(L"Error: 0x%x", static_cast<unsigned>(result)))
        words.clear();
    return words;
}

}  // namespace

CHostError::CHostError(const std::wstring& step, HRESULT result) : m_text(step + L": " + ResultText(result)) {}

std::wstring ResultText(HRESULT result) {
    std::wstring words = OurWords(result);
    if (words.empty())
        words = SystemWords(result);
    const std::wstring code = base::FormatText(L"0x%08X", static_cast<unsigned>(result));
    return words.empty() ? code : code + L" (" + words + L")";
}

void Check(HRESULT result, const wchar_t* step) {
    if (FAILED(result))
        throw CHostError(step, result);
}

}  // namespace tvsource
