#include "diagnostics/HResultText.h"

#include "base/CAutoDestructor.h"
#include "base/FormatText.h"
#include "diagnostics/LogSite.h"

namespace TKRuntimeLogger {
namespace {

struct CLocalMemoryCloser {
    static wchar_t* Invalid() noexcept { return nullptr; }
    static bool IsValid(const wchar_t* text) noexcept { return text != nullptr; }
    static void Close(wchar_t* text) noexcept { ::LocalFree(text); }
};

}  // namespace

std::wstring SystemText(HRESULT hr, DWORD flags) {
    base::CAutoDestructor<wchar_t*, CLocalMemoryCloser> text;
    // With ALLOCATE_BUFFER, the buffer argument is where the address of the text goes.
    const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | flags, nullptr,
                                          static_cast<DWORD>(hr), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                          reinterpret_cast<wchar_t*>(text.Put()), 0, nullptr);
    return text ? std::wstring(text.Get(), length) : std::wstring{};
}

std::wstring HResultText(HRESULT hr) {
    std::wstring text = SystemText(hr, FORMAT_MESSAGE_IGNORE_INSERTS);
    if (text.empty())
        return base::FormatText(L"%08X <no error message>", static_cast<unsigned>(hr));
    // The system's texts end in CR LF. The last two characters are removed without a check, so that the texts in logs
    // stay comparable.
    if (text.size() > 2)
        text.resize(text.size() - 2);
    return text;
}

}  // namespace TKRuntimeLogger
