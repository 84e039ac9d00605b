// The mode word with which a stream is opened by name: bit flags, at least one of read and write.
#pragma once

#include <windows.h>

inline constexpr DWORD kTKFStreamRead = 0x001;
inline constexpr DWORD kTKFStreamWrite = 0x002;
inline constexpr DWORD kTKFStreamCreate = 0x004;  // makes the file, or empties one that is there
inline constexpr DWORD kTKFStreamShareRead = 0x008;
inline constexpr DWORD kTKFStreamShareWrite = 0x010;
inline constexpr DWORD kTKFStreamShareDelete = 0x020;
inline constexpr DWORD kTKFStreamDeleteOnClose = 0x040;
inline constexpr DWORD kTKFStreamTemporary = 0x080;
inline constexpr DWORD kTKFStreamSequential = 0x100;  // a hint; without it the hint is random access
inline constexpr DWORD kTKFStreamWriteThrough = 0x200;
inline constexpr DWORD kTKFStreamOpenReparsePoint = 0x400;

namespace framework {

// For the way from one set of bits to another: `bits` if `flags` has `flag`.
[[nodiscard]] constexpr DWORD BitsIf(DWORD flags, DWORD flag, DWORD bits, DWORD otherwise = 0) noexcept {
    return (flags & flag) ? bits : otherwise;
}

}  // namespace framework
