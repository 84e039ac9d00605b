#include "console/CCommandError.h"

#include "TKDataServices.h"
#include "base/FormatText.h"
#include "diagnostics/HResultText.h"

#include <objbase.h>
#include <strmif.h>

#include <errors.h>
#include <vfwmsgs.h>
#include <winhttp.h>

#include <algorithm>
#include <iterator>

namespace console {

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
    {static_cast<ULONG>(REGDB_E_CLASSNOTREG), L"not registered"},
    {static_cast<ULONG>(CLASS_E_CLASSNOTAVAILABLE), L"no such class in this library"},
    // DirectShow's own texts are not on every system.
    {static_cast<ULONG>(VFW_E_NO_ACCEPTABLE_TYPES), L"the pins agree on no media type"},
    {static_cast<ULONG>(VFW_E_TYPE_NOT_ACCEPTED), L"the media type is not accepted"},
    {static_cast<ULONG>(VFW_E_INVALID_FILE_FORMAT), L"not in the format that was expected"},
    {static_cast<ULONG>(VFW_E_CANNOT_CONNECT), L"no filter connects the two"},
    {static_cast<ULONG>(VFW_E_CANNOT_RENDER), L"no filter renders this stream"},
    {static_cast<ULONG>(VFW_E_UNSUPPORTED_STREAM), L"no decoder for this stream"},
    {static_cast<ULONG>(VFW_E_WRONG_STATE), L"not possible in this state of the filter"},
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

CCommandError::CCommandError(std::wstring words, HRESULT result)
    : CCommandError(std::move(words), result, ResultWords(result)) {}

CCommandError&& CCommandError::Advise(std::wstring advice) && {
    m_advice = std::move(advice);
    return std::move(*this);
}

CCommandError&& CCommandError::Detail(std::wstring line) && {
    m_details += L"\n" + line;
    return std::move(*this);
}

std::wstring CCommandError::Text() const {
    return m_words + (m_code ? L": " + CodeText(*m_code) : L"") + (m_meaning.empty() ? L"" : L" (" + m_meaning + L")") +
           (m_advice.empty() ? L"" : L"; " + m_advice) + m_details;
}

std::wstring ResultWords(HRESULT result) {
    std::wstring words = OurWords(result);
    return words.empty() ? SystemWords(result) : words;
}

std::wstring CodeText(HRESULT result) {
    return base::FormatText(L"0x%08X", static_cast<unsigned>(result));
}

std::wstring ResultText(HRESULT result) {
    const std::wstring words = ResultWords(result);
    return CodeText(result) + (words.empty() ? L"" : L" (" + words + L")");
}

void Check(HRESULT result, const wchar_t* step) {
    if (FAILED(result))
        throw CCommandError(step, result);
}

}  // namespace console
