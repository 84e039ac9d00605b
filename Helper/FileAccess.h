// Access to the objects of the data-service layer, and reading from streams with care.
//
//   ComPtr<FileAccess::CDirEntryWrapper> entry;
//   ComPtr<IStream> stream, copy;
//   if (SUCCEEDED(FileAccess::CDirEntryWrapper::CreateFromURI(L"http://host/clip.avi", entry.GetAddressOf())) &&
//       SUCCEEDED(entry->CreateStream(stream.GetAddressOf())))
//       hr = FileAccess::CreateSmallFileStream(stream.Get(), copy.GetAddressOf(), 1 << 20);
//
// Units: sizes and counts are bytes.  Threads: any thread; one that is in a COM apartment where the data-service layer
// is called. Streams are used by one thread at a time.
// Errors: HRESULT, never an exception; what the layer or a stream throws is E_UNEXPECTED. Every call that fails or
// throws is logged where it does, and a function that fails once more when it ends.
#pragma once

#include "Helper/CDirEntryWrapper.h"
#include "TKDataServices.h"

#include <windows.h>

#include <objidl.h>

namespace FileAccess {

// Copies what `pStream` has from its current position on, as many bytes at most as its whole size is, into a memory
// stream that stands at its start. `pStream` is not rewound before or after. A stream that ends before its size gives
// a shorter copy, which is a success on purpose. On failure `*ppStream` is null.
//
// E_POINTER: `pStream` or `ppStream` is null.  E_FAIL: the size is above `maximumSize`, or unknown (its top bit is
// set).  E_OUTOFMEMORY.  Otherwise the failure of `pStream`.
[[nodiscard]] HRESULT CreateSmallFileStream(IStream* pStream, IStream** ppStream, ULONGLONG maximumSize) noexcept;

// Reads on until `cb` bytes have arrived, the stream gives none any more, or a read fails. `*pulRead` has the bytes
// that arrived on every path, unless a pointer is null.
//
// S_OK or S_FALSE as the last read said; S_FALSE also if a read failed after some bytes had arrived. The failure is
// lost then, but for the log.  E_POINTER: a pointer is null, even if `cb` is 0.  Otherwise the failure of the first
// read.
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
