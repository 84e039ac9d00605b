#include "tests/filter/CFilterWithLibrary.h"

#include "baseclasses/MediaTypeCopies.h"
#include "framework/com/CTaskMem.h"
#include "sdk/TvMetadata.h"

#include <uuids.h>

using Microsoft::WRL::ComPtr;

namespace {

// The identifiers in full: what hosts and parsers compare with.
constexpr struct {
    char letter;
    const wchar_t* subtype;
} kSubtypes[] = {
    {'M', L"{E436EB87-524F-11CE-9F53-0020AF0BA770}"},  // MPEG-1 audio
    {'C', L"{E06D802C-DB46-11CF-B4D1-00805F6CBBEA}"},  // Dolby AC-3
    {'O', L"{D2855FA9-61A7-4DB0-B979-71F297C17A04}"},  // Ogg
    {'W', L"{E436EB8B-524F-11CE-9F53-0020AF0BA770}"},  // WAVE
    {'I', L"{E436EB8D-524F-11CE-9F53-0020AF0BA770}"},  // AIFF
    {'D', L"{7364696D-0000-0010-8000-00AA00389B71}"},  // MIDI
    {'A', L"{E436EB88-524F-11CE-9F53-0020AF0BA770}"},  // AVI
    {'S', L"{E436EB84-524F-11CE-9F53-0020AF0BA770}"},  // MPEG-1 system stream
    {'V', L"{E436EB85-524F-11CE-9F53-0020AF0BA770}"},  // MPEG-1 Video CD
    {'P', L"{E06D8022-DB46-11CF-B4D1-00805F6CBBEA}"},  // MPEG-2 program stream
    {'T', L"{E06D8023-DB46-11CF-B4D1-00805F6CBBEA}"},  // MPEG-2 transport stream
    {'0', L"{00000000-0000-0000-0000-000000000000}"},
};

char LetterOf(const AM_MEDIA_TYPE& type) {
    if (type.majortype == GUID_NULL && type.subtype == GUID_NULL)
        return '!';
    for (const auto& row : kSubtypes) {
        GUID subtype{};
        EXPECT_EQ(S_OK, ::CLSIDFromString(row.subtype, &subtype));
        if (type.majortype == MEDIATYPE_Stream && type.subtype == subtype)
            return row.letter;
    }
    return '?';
}

std::wstring BinFolder() {
    const std::wstring dll = FilterDllPath();
    return dll.substr(0, dll.find_last_of(L'\\') + 1);
}

std::wstring CopyFilter(CTempFolder& folder) {
    return folder.Copy(FilterDllPath(), L"TvFileSourceAsync.dll");
}

}  // namespace

void PutLibrary(CTempFolder& folder, Library library) {
    switch (library) {
        case Library::None:
            break;
        case Library::Damaged:
            folder.Write("MZ, but nothing behind it", kTvMetadataLibrary);
            break;
        case Library::WithExport:
            folder.Copy(BinFolder() + L"filter_test_metadata.dll", kTvMetadataLibrary);
            break;
        case Library::Foreign:
            folder.Copy(FilterDllPath(), kTvMetadataLibrary);
            break;
    }
}

CLoaderSearchesOnly::CLoaderSearchesOnly(const std::wstring& folder) {
    EXPECT_TRUE(::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32 | LOAD_LIBRARY_SEARCH_USER_DIRS));
    if (!folder.empty()) {
        m_added = ::AddDllDirectory(folder.c_str());
        EXPECT_NE(nullptr, m_added);
    }
}

CLoaderSearchesOnly::~CLoaderSearchesOnly() {
    if (m_added)
        ::RemoveDllDirectory(m_added);
    ::SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
}

CFilterWithLibrary::CFilterWithLibrary(Library library, std::wstring_view innerFolders)
    : folder(innerFolders), host(CopyFilter(folder)) {
    PutLibrary(folder, library);
    EXPECT_EQ(S_OK, host.Create());
}

CFilterWithLibrary::~CFilterWithLibrary() {
    EXPECT_EQ(0u, host.Release());
}

HRESULT CFilterWithLibrary::Open(IStream* content, const AM_MEDIA_TYPE* type) const {
    const HRESULT hr = host.As<ITavelIStreamFileSource>()->OpenStream(content, type);
    EXPECT_EQ(nullptr, ::GetModuleHandleW(kTvMetadataLibrary)) << "the library stays loaded";
    return hr;
}

std::string CFilterWithLibrary::Offers() const {
    std::string letters;
    ComPtr<IEnumMediaTypes> types;
    EXPECT_EQ(S_OK, host.Pin()->EnumMediaTypes(&types));
    AM_MEDIA_TYPE* type = nullptr;
    while (types && types->Next(1, &type, nullptr) == S_OK) {
        letters += LetterOf(*type);
        DeleteMediaType(type);
    }
    return letters;
}

char CFilterWithLibrary::CurrentType() const {
    CTaskMem<wchar_t> name;
    AM_MEDIA_TYPE type{};
    EXPECT_EQ(S_OK, host.As<IFileSourceFilter>()->GetCurFile(name.Put(), &type));
    const char letter = LetterOf(type);
    FreeMediaType(type);
    return letter;
}
