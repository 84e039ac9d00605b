// One entry of the data-service layer: a directory and the id of the entry in it. It answers what a source wants to
// know of the entry, and opens it.
//
//   ComPtr<FileAccess::CDirEntryWrapper> entry;
//   HRESULT hr = FileAccess::CDirEntryWrapper::CreateFromURI(uri, entry.GetAddressOf());
//
// An entry without a directory is reached through its id as a URI.
//
// Threads: any thread that is in the apartment of the directory; several at once. Each call goes to the layer on the
// calling thread.  Lifetime: counted; an object never changes, and holds its directory to its end.
// Errors: HRESULT, never an exception. Out of memory is E_OUTOFMEMORY, an exception of the layer E_UNEXPECTED, and
// success of the layer without a result E_FAIL. Out-pointers are cleared first, and on failure nothing is handed out. A
// call that fails or throws is logged where it fails, and a function that fails is logged once more when it ends.
// CreateFromURI and GetAccessor say below what they don't log.
#pragma once

#include "TKDataServices.h"
#include "framework/com/CStringManager.h"

#include <windows.h>

#include <objidl.h>
#include <oleauto.h>
#include <wrl/client.h>

#include <atomic>

namespace FileAccess {

class CDirEntryWrapper final {
public:
    // Finds the entry for a URI or a path, whether or not anything is there:
    //  - If the layer knows the parent directory of the object, in that directory. This settles it: if the entry's id
    //    can't be had, that failure is the result.
    //  - Otherwise a file is looked for in the directory that its path names, by its file name. If that is only dots
    //    and blanks, the path is resolved first.
    //  - Any other URI, also a root and a file URL that no path can be made of, becomes the only entry of a virtual
    //    directory of its own, with the URI as its id.
    //
    // Any failure to name a parent, such as one of the network, counts as having no parent. It is not logged where the
    // layer has no accessor for the parent.
    // E_POINTER: `ppObj` is null, or the layer knows no parent and `wszUri` is no URI.  Otherwise a failure of the
    // layer or of creating it (REGDB_E_CLASSNOTREG: none is installed).
    [[nodiscard]] static HRESULT CreateFromURI(const wchar_t* wszUri, CDirEntryWrapper** ppObj) noexcept;

    // `pDirectory` may be null, and so may `wszEntryId`, which then counts as empty.
    // E_FAIL: there is neither a directory nor an id.  E_POINTER: `ppObj` is null.
    [[nodiscard]] static HRESULT CreateFromEntry(ITKDSDirectory* pDirectory, const wchar_t* wszEntryId,
                                                 CDirEntryWrapper** ppObj) noexcept;

    CDirEntryWrapper(const CDirEntryWrapper&) = delete;
    CDirEntryWrapper& operator=(const CDirEntryWrapper&) = delete;

    ULONG AddRef() noexcept { return ++m_references; }
    ULONG Release() noexcept;

    // An accessor of the entry; `wszAccessorId` is one of TKDS_ACCESSOR_*. `pAccessor` need not be initialised, and is
    // VT_EMPTY on failure. The caller clears it.  E_POINTER: `pAccessor` is null.  Otherwise the result of the layer.
    // What a directory answers is not logged, because only the caller knows whether the lack of an accessor matters.
    [[nodiscard]] HRESULT GetAccessor(const wchar_t* wszAccessorId, VARIANT* pAccessor) const noexcept;

    // The entry's URI. The caller frees the string, which may be null for an empty one.
    // E_POINTER: there is no directory, or `pbstrUri` is null.
    [[nodiscard]] HRESULT GetUri(BSTR* pbstrUri) const noexcept;

    // A URI to compare entries by: the original URI that the metadata names. If it is missing, empty or can't be read,
    // the entry's own URI. A failure to get the metadata is returned.  E_POINTER: there is no metadata.  Otherwise as
    // GetUri.
    [[nodiscard]] HRESULT GetCompatibleUri(BSTR* pbstrUri) const noexcept;

    // The entry's data, for reading.  E_POINTER: `ppStream` is null.
    [[nodiscard]] HRESULT CreateStream(IStream** ppStream) const noexcept;

private:
    CDirEntryWrapper(ITKDSDirectory* pDirectory, const wchar_t* wszEntryId);
    ~CDirEntryWrapper() = default;

    [[nodiscard]] bool IsValid() const;

    std::atomic<ULONG> m_references{0};  // whoever makes the object takes the first reference
    const Microsoft::WRL::ComPtr<ITKDSDirectory> m_pDirectory;
    // These two also keep the system strings that are passed on, so that each is made only once.
    CStringManager<CP_ACP> m_strEntryId;
    CStringManager<CP_ACP> m_strUri;  // used only if there is no directory
};

}  // namespace FileAccess
