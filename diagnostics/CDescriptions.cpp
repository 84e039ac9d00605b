#include "diagnostics/CDescriptions.h"

#include "base/FormatText.h"

#include <objbase.h>

namespace TKRuntimeLogger {
namespace {

const CDShowEventDescriptions g_dshowEvents;
const CHresultEventDescriptions g_hresults;
const CGuidDescriptions g_guids;

}  // namespace

CLongDescriptions::CLongDescriptions(std::wstring typeName, Names names, bool rawOnly)
    : CDescriptions(std::move(typeName), L"CDescriptions<long,struct std::less<long> >::operator ()", std::move(names),
                    rawOnly) {}

std::wstring CLongDescriptions::DefaultText(const long& key) const {
    return base::FormatText(L"0x%08X / %d", key, key);
}

// The codes are written out: those of the user range are values that other components of the family send and expect.
CDShowEventDescriptions::CDShowEventDescriptions()
    : CLongDescriptions(L"DirectShowEventCode", {
                                                    {0x0001, L"EC_COMPLETE"},
                                                    {0x0002, L"EC_USERABORT"},
                                                    {0x0003, L"EC_ERRORABORT"},
                                                    {0x000A, L"EC_VIDEO_SIZE_CHANGED"},
                                                    {0x000D, L"EC_CLOCK_CHANGED"},
                                                    {0x000E, L"EC_PAUSED"},
                                                    {0x0053, L"EC_VMR_RENDERDEVICE_SET"},
                                                    {0x8101, L"EC_FILE_CURRENT_AUDIO_STREAM_NUM"},
                                                    {0x8102, L"EC_FILE_CURRENT_SUBPIC_STREAM_NUM"},
                                                    {0x8103, L"EC_FILE_AUDIO_STREAM_INFO"},
                                                    {0x8104, L"EC_FILE_SUBPIC_STREAM_INFO"},
                                                    {0x8105, L"EC_FILE_CURRENT_VIDEO_STREAM_NUM"},
                                                    {0x8106, L"EC_FILE_VIDEO_STREAM_INFO"},
                                                    {0x8107, L"EC_FILE_STREAM_INFO_COMPLETED"},
                                                    {0x8108, L"EC_FILE_PROGRAM_INFO"},
                                                    {0x8109, L"EC_FILE_CURRENT_PROGRAM_NUM"},
                                                    {0x810A, L"EC_FILE_SCRAMBLED"},
                                                }) {}

CHresultEventDescriptions::CHresultEventDescriptions()
    : CLongDescriptions(L"HRESULT", {
                                        {E_FAIL, L"E_FAIL (Generic error)"},
                                        {E_OUTOFMEMORY, L"E_OUTOFMEMORY (Out of memory)"},
                                        {E_UNEXPECTED, L"E_UNEXPECTED (Unexpected error)"},
                                        {E_INVALIDARG, L"E_INVALIDARG (Invalid Argument)"},
                                        {E_POINTER, L"E_POINTER (Invalid pointer)"},
                                        {MAKE_HRESULT(SEVERITY_ERROR, 0x876, 0x17C),
                                         L"D3DERR_OUTOFVIDEOMEMORY (Out of video memory)"},
                                    }) {}

CGuidDescriptions::CGuidDescriptions()
    : CDescriptions(L"GUID", L"CDescriptions<struct _GUID,struct GUIDLess>::operator ()", {}) {}

std::wstring CGuidDescriptions::DefaultText(const GUID& key) const {
    wchar_t text[39];  // {xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx} and the terminator
    ::StringFromGUID2(key, text, static_cast<int>(std::size(text)));
    return text;
}

const CDShowEventDescriptions& DShowEventDescriptions() noexcept {
    return g_dshowEvents;
}
const CHresultEventDescriptions& HresultDescriptions() noexcept {
    return g_hresults;
}
const CGuidDescriptions& GuidDescriptions() noexcept {
    return g_guids;
}

}  // namespace TKRuntimeLogger
