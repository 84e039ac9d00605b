#include "framework/streams/TKFCreateTempFileStream.h"

#include "base/ComBoundary.h"
#include "framework/streams/TKFCreateStreamFromUri.h"

#include <string>

namespace {

constexpr DWORD kTempFileMode = kTKFStreamRead | kTKFStreamWrite | kTKFStreamCreate | kTKFStreamShareDelete |
                                kTKFStreamDeleteOnClose | kTKFStreamTemporary;

[[nodiscard]] HRESULT LastErrorResult() noexcept {
    const DWORD error = ::GetLastError();
    return error == ERROR_SUCCESS ? E_FAIL : HRESULT_FROM_WIN32(error);
}

[[nodiscard]] HRESULT GetTempFolder(std::wstring& folder) {
    folder.resize(MAX_PATH);
    for (;;) {
        const DWORD length = ::GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
        if (length == 0)
            return LastErrorResult();
        const bool fits = length < folder.size();
        folder.resize(length);  // a buffer that is too small gets the needed size, terminator included
        if (fits)
            return S_OK;
    }
}

}  // namespace

HRESULT TKFCreateTempFileStream(IStream** stream) noexcept {
    if (!stream)
        return E_POINTER;
    *stream = nullptr;
    return base::ComBoundary([&]() -> HRESULT {
        std::wstring folder;
        if (const HRESULT hr = GetTempFolder(folder); FAILED(hr))
            return hr;
        wchar_t name[MAX_PATH];  // the call takes no other size, and refuses a folder that is too long for it
        if (::GetTempFileNameW(folder.c_str(), L"TKF", 0, name) == 0)
            return LastErrorResult();
        const HRESULT hr = TKFCreateStreamFromUri(name, kTempFileMode, stream, nullptr, nullptr);
        if (FAILED(hr))
            ::DeleteFileW(name);
        return hr;
    });
}
