// Result codes that callers count on, by their numbers: a change of the product's own constants shows.
#pragma once

#include <windows.h>

inline constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80040001);
inline constexpr HRESULT kExistsAlready = static_cast<HRESULT>(0x80040002);
inline constexpr HRESULT kCantSeek = static_cast<HRESULT>(0x80040003);
inline constexpr HRESULT kOutOfRange = static_cast<HRESULT>(0x80040006);
inline constexpr HRESULT kEndOfFile = static_cast<HRESULT>(0x80070026);
inline constexpr HRESULT kUnknownScheme = static_cast<HRESULT>(0x80070032);
