// Subtypes of byte streams that are not among the platform's own.
#pragma once

#include <windows.h>

// The Ogg splitters in use register it.
inline constexpr GUID kOggSubtype = {0xD2855FA9, 0x61A7, 0x4DB0, {0xB9, 0x79, 0x71, 0xF2, 0x97, 0xC1, 0x7A, 0x04}};
