// Access to the objects of the data-service layer, and reading from streams with care.
//
//   ComPtr<FileAccess::CDirEntryWrapper> entry;
//   ComPtr<IStream> stream, copy;
//   if (SUCCEEDED(FileAccess::CDirEntryWrapper::CreateFromURI(L"http://host/clip.avi", entry.GetAddressOf())) &&
//       SUCCEEDED(entry->CreateStream(stream.GetAddressOf())))
//       hr = FileAccess::CreateSmallFileStream(stream.Get(), copy.GetAddressOf(), 1 << 20);
//
// Units: sizes and counts are bytes.  Threads: any thread; where the data-service layer is called, it must be in a COM
// apartment. Streams are used by one thread at a time.
// Errors: HRESULT, never an exception; an exception of the layer or of a stream is E_UNEXPECTED. A call that fails or
// throws is logged where it fails, and a function that fails is logged once more when it ends.
#pragma once

#include "Helper/CDirEntryWrapper.h"
#include "TKDataServices.h"

#include <windows.h>

#include <objidl.h>

namespace FileAccess {

// Copies the rest of `pStream`, from its current position on, into a memory stream that stands at its start. It copies
// at most as many bytes as the whole size of `pStream`. `pStream` is not rewound before or after. A stream that ends
// before its size gives a shorter copy, which is a success on purpose. On failure `*ppStream` is null.
//
// E_POINTER: `pStream` or `ppStream` is null.  E_FAIL: the size is above `maximumSize`, or unknown (its top bit is
// set).  E_OUTOFMEMORY.  Otherwise the failure of `pStream`.
[[nodiscard]] HRESULT CreateSmallFileStream(IStream* pStream, IStream** ppStream, ULONGLONG maximumSize) noexcept;

// Reads on until `cb` bytes have arrived, the stream gives no more, or a read fails. `*pulRead` receives how many bytes
// arrived, on every path, unless a pointer is null.
//
// S_OK or S_FALSE as the last read said; S_FALSE also if a read failed after some bytes had arrived. That failure shows
// only in the log.  E_POINTER: a pointer is null, even if `cb` is 0.  Otherwise the failure of the first read.
[[nodiscard]] HRESULT TryAsHardAsPossibleToReallyGiveMeAllTheBytesIWant(IStream* pStream, void* pBuffer, ULONG cb,
                                                                        ULONG* pulRead) noexcept;

// The metadata of the object at a URI, every key that the layer knows. `dwFlags`: a TKDS_GET_METADATA.
// On failure `*ppMetaData` is null.
//
// E_POINTER: there is no metadata, or `ppMetaData` is null.  E_FAIL: the layer gave no accessor.  E_OUTOFMEMORY.
// Otherwise a failure of the layer or of creating it (REGDB_E_CLASSNOTREG: none is installed).
[[nodiscard]] HRESULT GetObjectMetaDataFromUri(const wchar_t* wszUri, DWORD dwFlags,
                                               ITKDSMetaData** ppMetaData) noexcept;

}  // namespace FileAccess
