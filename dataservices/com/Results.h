// The framework's own result codes, as far as this layer gives them, and what becomes of the file system's errors.
//
// Threads: any.
#pragma once

#include <windows.h>

namespace dataservices {

inline constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80040001);
inline constexpr HRESULT kExistsAlready = static_cast<HRESULT>(0x80040002);
inline constexpr HRESULT kCannotSeek = static_cast<HRESULT>(0x80040003);
inline constexpr HRESULT kOutOfRange = static_cast<HRESULT>(0x80040006);

// kNotFound: there is no such file, folder or share.  E_ACCESSDENIED: it may not be opened in this way, or someone else
// has it open without sharing it.  Otherwise the error's own HRESULT, also for a server that can't be reached.
[[nodiscard]] constexpr HRESULT ResultOfFileError(DWORD error) noexcept {
    switch (error) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_BAD_NET_NAME:
        case ERROR_BAD_DEV_TYPE:  // of a share that is not there, on some systems
        case ERROR_INVALID_NAME:
        case ERROR_BAD_PATHNAME:
        case ERROR_DIRECTORY:
            return kNotFound;
        case ERROR_SHARING_VIOLATION:
        case ERROR_LOCK_VIOLATION:
            return E_ACCESSDENIED;
        default:
            return HRESULT_FROM_WIN32(error);
    }
}

}  // namespace dataservices
