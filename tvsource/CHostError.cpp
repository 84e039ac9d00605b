#include "tvsource/CHostError.h"

#include <objbase.h>
#include <strmif.h>

#include <errors.h>
#include <winhttp.h>

#include <algorithm>
#include <iterator>

#include "tvsource/Text.h"

namespace {

// Results of the data services whose meaning the system doesn't know, or says too vaguely. Those of HTTP are 0x80190000
// and the status.
constexpr ULONG kHttpBase = 0x80190000;
constexpr struct {
    ULONG result;
    const wchar_t* words;
} kNetworkWords[] = {
    {kHttpBase | HTTP_STATUS_DENIED, L"needs credentials"},
    {kHttpBase | HTTP_STATUS_FORBIDDEN, L"forbidden"},
    {kHttpBase | HTTP_STATUS_NOT_FOUND, L"not found"},
    {kHttpBase | HTTP_STATUS_PROXY_AUTH_REQ, L"the proxy needs credentials"},
    {kHttpBase | HTTP_STATUS_GONE, L"gone"},
    {kHttpBase | 429, L"too many requests"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_NAME_NOT_RESOLVED)), L"name of the server not resolved"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_CANNOT_CONNECT)), L"connection refused"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_TIMEOUT)), L"timed out"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_CONNECTION_ERROR)), L"connection broken off"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_SECURE_FAILURE)),
     L"no secure connection: the certificate or the TLS handshake is not good"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_REDIRECT_FAILED)),
     L"redirected too often, or where it must not be followed"},
    {static_cast<ULONG>(HRESULT_FROM_WIN32(ERROR_WINHTTP_INVALID_SERVER_RESPONSE)),
     L"the server's answer makes no sense"},
    {static_cast<ULONG>(STG_E_REVERTED), L"the source has changed"},
};

// Empty: not a code of the network.
std::wstring NetworkWords(HRESULT result) {
    const ULONG code = static_cast<ULONG>(result);
    const auto* const found =
        std::find_if(std::begin(kNetworkWords), std::end(kNetworkWords), [&](auto& row) { return row.result == code; });
    std::wstring words = found != std::end(kNetworkWords) ? found->words : L"";
    if ((code & 0xFFFF0000) != kHttpBase)
        return words;
    const ULONG status = code & 0xFFFF;
    if (status >= 500 && status < 600)
        words = L"server error";
    return words + (words.empty() ? L"" : L", ") + Format(L"HTTP status %u", status);
}

std::wstring SystemWords(HRESULT result) {
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
    return words;
}

}  // namespace

CHostError::CHostError(const std::wstring& step, HRESULT result) : m_text(step + L": " + ResultText(result)) {}

std::wstring ResultText(HRESULT result) {
    std::wstring words = NetworkWords(result);
    if (words.empty())
        words = SystemWords(result);
    const std::wstring code = Format(L"0x%08X", static_cast<unsigned>(result));
    return words.empty() ? code : code + L" (" + words + L")";
}

CHostError CannotOpen(const std::wstring& name, HRESULT result) {
    std::wstring text = L"Cannot open " + name + L": " + ResultText(result);
    if (result == REGDB_E_CLASSNOTREG)
        text +=
            L"; only local files open without a data-service layer, and none is registered (regsvr32 "
            L"TvDataServices.dll registers it)";
    else if (result == HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED))
        text += L"; the data-service layer knows no such scheme";
    return CHostError(text);
}

void Check(HRESULT result, const wchar_t* step) {
    if (FAILED(result))
        throw CHostError(step, result);
}
