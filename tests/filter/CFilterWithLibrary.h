// A copy of the filter's DLL in a folder of its own, with a metadata library beside it that the test chooses.
//
// The copy has its own statics: no other test decided about its loggers and timing sites.
// Threads: as CFilterHost.
#pragma once

#include "tests/filter/CFilterHost.h"
#include "tests/filter/CTempFolder.h"

#include <initializer_list>
#include <optional>
#include <string>

enum class Library {
    None,        // no file at all
    Damaged,     // a file that is no library
    WithExport,  // the test's: gives out the CScriptedDictionary, or no dictionary when there is none
    Foreign,     // a library that lacks the export
};

// Puts the library into the folder as "TvMetadata.dll".
void PutLibrary(CTempFolder& folder, Library library);

// The platform's loader finds libraries in the system's folder and in this one, while the object lives: not beside the
// test program, where the product's own metadata library may be.
class CLoaderSearchesOnly final {
public:
    explicit CLoaderSearchesOnly(const std::wstring& folder = {});
    CLoaderSearchesOnly(const CLoaderSearchesOnly&) = delete;
    CLoaderSearchesOnly& operator=(const CLoaderSearchesOnly&) = delete;
    ~CLoaderSearchesOnly();

private:
    DLL_DIRECTORY_COOKIE m_added = nullptr;
};

struct CFilterWithLibrary final {
    explicit CFilterWithLibrary(Library library, std::wstring_view innerFolders = {});
    CFilterWithLibrary(const CFilterWithLibrary&) = delete;
    CFilterWithLibrary& operator=(const CFilterWithLibrary&) = delete;
    ~CFilterWithLibrary();

    // Gives the filter this content as an open stream; the library must be gone from memory afterwards.
    [[nodiscard]] HRESULT Open(IStream* content, const AM_MEDIA_TYPE* type = nullptr) const;

    // What the pin offers, in order: a letter for each subtype of MEDIATYPE_Stream (see the source), '!' for the pair
    // of nulls, '?' for everything else.
    [[nodiscard]] std::string Offers() const;
    // The media type that GetCurFile reports, by the same letters.
    [[nodiscard]] char CurrentType() const;

    CTempFolder folder;
    CFilterHost host;
};
