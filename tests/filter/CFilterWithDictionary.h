// A copy of the filter's DLL in a folder of its own, with a MIME dictionary beside it that the test chooses.
//
// The copy has its own statics, so no other test has fixed its loggers and timing sites.  Threads: as CFilterHost.
#pragma once

#include "sdk/TvMetadata.h"
#include "tests/support/CFilterHost.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CTempFolder.h"

#include <string>
#include <vector>

// What the file "TvMetadata.dll" is.
enum class DictionaryFile {
    None,        // not there
    Damaged,     // no DLL
    WithExport,  // the test's: gives out the CScriptedDictionary, or no dictionary when there is none
    Foreign,     // a DLL that lacks the export
};

inline void PutDictionary(CTempFolder& folder, DictionaryFile file) {
    const std::wstring dll = FilterDllPath();
    if (file == DictionaryFile::Damaged)
        folder.Write("MZ, but nothing behind it", kTvMetadataLibrary);
    if (file == DictionaryFile::WithExport)
        folder.Copy(dll.substr(0, dll.rfind(L'\\')) + L"\\filter_test_dictionary.dll", kTvMetadataLibrary);
    if (file == DictionaryFile::Foreign)
        folder.Copy(dll, kTvMetadataLibrary);
}

// The loader's search without the folder of the test program, where the product's own MIME dictionary is.
inline HMODULE WINAPI LoadFromElsewhere(const wchar_t* name, HANDLE file, DWORD flags) {
    if (flags == LOAD_LIBRARY_SEARCH_DEFAULT_DIRS)
        flags = LOAD_LIBRARY_SEARCH_SYSTEM32 | LOAD_LIBRARY_SEARCH_USER_DIRS;
    return ::LoadLibraryExW(name, file, flags);
}

struct CFilterWithDictionary final {
    explicit CFilterWithDictionary(DictionaryFile file, const std::vector<std::wstring>& innerFolders = {})
        : folder(innerFolders), host(folder.Copy(FilterDllPath(), L"TvFileSourceAsync.dll")) {
        PutDictionary(folder, file);
        host.Create();
    }
    ~CFilterWithDictionary() { EXPECT_EQ(0u, host.Release()); }

    // Opens the content, which must succeed and leave no dictionary loaded, and gives what is offered for it.
    [[nodiscard]] std::string Offers(IStream* content, const AM_MEDIA_TYPE* type = nullptr) const {
        EXPECT_EQ(S_OK, host.Open(content, type));
        EXPECT_EQ(nullptr, ::GetModuleHandleW(kTvMetadataLibrary)) << "the dictionary stays loaded";
        return host.Offers();
    }

    CTempFolder folder;
    CFilterHost host;

private:
    const CImportHook m_search{"LoadLibraryExW", &LoadFromElsewhere, nullptr, host.Module()};
};
