#include "diagnostics/HResultText.h"

#include "diagnostics/CAutoDestructor.h"
#include "diagnostics/LogSite.h"

namespace TKRuntimeLogger {
namespace {

struct CLocalMemoryCloser {
    static wchar_t* Invalid() noexcept { return nullptr; }
    static bool IsValid(const wchar_t* text) noexcept { return text != nullptr; }
    static void Close(wchar_t* text) noexcept { ::LocalFree(text); }
};

}  // namespace

std::wstring HResultText(HRESULT hr) {
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    CAutoDestructor<wchar_t*, CLocalMemoryCloser> text;
    // With ALLOCATE_BUFFER, the buffer argument is where the address of the text goes.
    const DWORD length =
        ::FormatMessageW(kFlags, nullptr, static_cast<DWORD>(hr), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                         reinterpret_cast<wchar_t*>(text.Put()), 0, nullptr);
    if (length == 0 || !text)
        return FormatLogString(L"%08X <no error message>", static_cast<unsigned>(hr));
    // The system's texts end in CR LF. The last two characters go without a look at them, as they always have.
    return {text.Get(), length > 2 ? length - 2 : length};
}

}  // namespace TKRuntimeLogger
