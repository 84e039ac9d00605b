// The platform's DirectShow headers, in the order in which they need one another.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <strmif.h>
#include <uuids.h>
#include <vfwmsgs.h>

#ifdef __CRT_UUID_DECL  // some compilers' headers lack it
__CRT_UUID_DECL(IAMOpenProgress, 0x8E1C39A1, 0xDE53, 0x11CF, 0xAA, 0x63, 0x00, 0x80, 0xC7, 0x44, 0x52, 0x8D)
#endif
