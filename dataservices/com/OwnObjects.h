// How this layer knows its own objects when a caller hands them back. Only our classes answer these interfaces, so
// asking an object for one tells whether it is ours.
//
// Threads: as the class that answers it.
#pragma once

#include "TKDataServices.h"

#include <windows.h>

namespace dataservices {

// Answered by CMetaData.
MIDL_INTERFACE("6B0A2C0E-5F0D-4B4F-9A55-0C2A6C3B7D41")
IOwnMetaData : public ITKDSMetaData {
    // Replaces the value of `key`. Both texts are copied.  E_OUTOFMEMORY.
    STDMETHOD(PutText)(const wchar_t* key, const wchar_t* text) noexcept = 0;
};

// Answered by CVirtualDirectoryItem.
MIDL_INTERFACE("6B0A2C0E-5F0D-4B4F-9A55-0C2A6C3B7D42")
IOwnVirtualDirectoryItem : public ITKDSVirtualDirectoryItem {
    // The URI; valid as long as the item lives.
    STDMETHOD_(const wchar_t*, Uri)() noexcept = 0;
};

}  // namespace dataservices

#ifdef __CRT_UUID_DECL  // for compilers that don't read the identifiers above
__CRT_UUID_DECL(dataservices::IOwnMetaData, 0x6B0A2C0E, 0x5F0D, 0x4B4F, 0x9A, 0x55, 0x0C, 0x2A, 0x6C, 0x3B, 0x7D, 0x41)
__CRT_UUID_DECL(dataservices::IOwnVirtualDirectoryItem, 0x6B0A2C0E, 0x5F0D, 0x4B4F, 0x9A, 0x55, 0x0C, 0x2A, 0x6C, 0x3B,
                0x7D, 0x42)
#endif
