// A copy of the filter's DLL in a folder of its own, with a metadata library beside it that the test chooses.
//
// The copy has its own statics: no other test decided about its loggers and timing sites.  Threads: as CFilterHost.
#pragma once

#include "sdk/TvMetadata.h"
#include "tests/filter/CFilterHost.h"
#include "tests/support/CTempFolder.h"

#include <string>
#include <vector>

enum class Library {
    None,        // no file at all
    Damaged,     // a file that is no library
    WithExport,  // the test's: gives out the CScriptedDictionary, or no dictionary when there is none
    Foreign,     // a library that lacks the export
};

// Puts the library into the folder as "TvMetadata.dll".
inline void PutLibrary(CTempFolder& folder, Library library) {
    const std::wstring dll = FilterDllPath();
    if (library == Library::Damaged)
        folder.Write("MZ, but nothing behind it", kTvMetadataLibrary);
    if (library == Library::WithExport)
        folder.Copy(dll.substr(0, dll.rfind(L'\\')) + L"\\filter_test_metadata.dll", kTvMetadataLibrary);
    if (library == Library::Foreign)
        folder.Copy(dll, kTvMetadataLibrary);
}

// The platform's loader finds libraries in the system's folder and in this one, while the object lives: not beside the
// test program, where the product's own metadata library may be.
class CLoaderSearchesOnly final {
public:
    explicit CLoaderSearchesOnly(const std::wstring& folder) : m_added(::AddDllDirectory(folder.c_str())) {
        EXPECT_TRUE(::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32 | LOAD_LIBRARY_SEARCH_USER_DIRS));
    }
    CLoaderSearchesOnly(const CLoaderSearchesOnly&) = delete;
    CLoaderSearchesOnly& operator=(const CLoaderSearchesOnly&) = delete;
    ~CLoaderSearchesOnly() {
        ::RemoveDllDirectory(m_added);
        ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    }

private:
    const DLL_DIRECTORY_COOKIE m_added;
};

struct CFilterWithLibrary final {
    explicit CFilterWithLibrary(Library library, const std::vector<std::wstring>& innerFolders = {})
        : folder(innerFolders), host(folder.Copy(FilterDllPath(), L"TvFileSourceAsync.dll")) {
        PutLibrary(folder, library);
        host.Create();
    }
    ~CFilterWithLibrary() { EXPECT_EQ(0u, host.Release()); }

    // Opens the content, which must succeed and leave no library loaded, and gives what is offered for it.
    [[nodiscard]] std::string Offers(IStream* content, const AM_MEDIA_TYPE* type = nullptr) const {
        EXPECT_EQ(S_OK, host.Open(content, type));
        EXPECT_EQ(nullptr, ::GetModuleHandleW(kTvMetadataLibrary)) << "the library stays loaded";
        return host.Offers();
    }

    CTempFolder folder;
    CFilterHost host;
};
