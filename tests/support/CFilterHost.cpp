#include "tests/support/CFilterHost.h"

#include "base/CTaskMem.h"
#include "baseclasses/CMediaType.h"
#include "baseclasses/MediaTypeCopies.h"

#include <uuids.h>

#include <algorithm>

using Microsoft::WRL::ComPtr;

namespace {

constexpr GUID kOgg{0xD2855FA9, 0x61A7, 0x4DB0, {0xB9, 0x79, 0x71, 0xF2, 0x97, 0xC1, 0x7A, 0x04}};
constexpr GUID kMidi{0x7364696D, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};

char LetterOf(const AM_MEDIA_TYPE& type) {
    constexpr std::string_view kLetters = "MCOWIDASVPT0";
    const GUID subtypes[] = {MEDIASUBTYPE_MPEG1Audio,
                             MEDIASUBTYPE_DOLBY_AC3,
                             kOgg,
                             MEDIASUBTYPE_WAVE,
                             MEDIASUBTYPE_AIFF,
                             kMidi,
                             MEDIASUBTYPE_Avi,
                             MEDIASUBTYPE_MPEG1System,
                             MEDIASUBTYPE_MPEG1VideoCD,
                             MEDIASUBTYPE_MPEG2_PROGRAM,
                             MEDIASUBTYPE_MPEG2_TRANSPORT,
                             GUID_NULL};
    if (type.majortype == GUID_NULL && type.subtype == GUID_NULL)
        return '!';
    const auto at = std::ranges::find(subtypes, type.subtype) - std::begin(subtypes);
    return type.majortype == MEDIATYPE_Stream && at != std::ssize(subtypes) ? kLetters[static_cast<size_t>(at)] : '?';
}

template <class Function>
Function Export(HMODULE module, const char* name) {
    const auto found = reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
    EXPECT_NE(nullptr, found) << name;
    return found;
}

}  // namespace

std::wstring FilterDllPath() {
    // The build's paths are those of the machine that Wine runs on; Windows finds a DLL by a full path of its own kind.
    constexpr std::string_view kPath = TV_BIN_DIR "/TvFileSourceAsync.dll";
    wchar_t full[1024]{};
    EXPECT_LT(0u, ::GetFullPathNameW(std::wstring(kPath.begin(), kPath.end()).c_str(), 1024, full, nullptr));
    return full;
}

CFilterHost::CFilterHost(const std::wstring& dllPath) : m_module(::LoadLibraryW(dllPath.c_str())) {
    EXPECT_NE(nullptr, m_module) << "error " << ::GetLastError();
}

CFilterHost::~CFilterHost() {
    m_filter.Reset();
    ::FreeLibrary(m_module);
}

HRESULT CFilterHost::Call(const char* name) const {
    return Export<HRESULT(STDAPICALLTYPE*)()>(m_module, name)();
}

void CFilterHost::Create(IUnknown* outer) {
    m_filter.Reset();
    const auto getClass = Export<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(m_module, "DllGetClassObject");
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(S_OK, getClass(CLSID_TvFileSourceAsync, IID_PPV_ARGS(&factory)));
    EXPECT_EQ(S_OK, factory->CreateInstance(outer, IID_PPV_ARGS(&m_filter)));
    EXPECT_EQ(S_OK, As<IDataFlowControl>()->EnableDataFlow());
}

ULONG CFilterHost::Release() {
    IUnknown* const filter = m_filter.Detach();
    return filter ? filter->Release() : 0;
}

std::wstring CFilterHost::CurrentName() const {
    base::CTaskMem<wchar_t> name;
    return SUCCEEDED(As<IFileSourceFilter>()->GetCurFile(name.Put(), nullptr)) && name ? name.Get() : L"";
}

char CFilterHost::CurrentType() const {
    base::CTaskMem<wchar_t> name;
    CMediaType type;
    EXPECT_EQ(S_OK, As<IFileSourceFilter>()->GetCurFile(name.Put(), &type));
    return LetterOf(type);
}

std::string CFilterHost::Offers() const {
    std::string letters;
    ComPtr<IEnumMediaTypes> types;
    EXPECT_EQ(S_OK, Pin()->EnumMediaTypes(&types));
    for (AM_MEDIA_TYPE* type = nullptr; types->Next(1, &type, nullptr) == S_OK; DeleteMediaType(type))
        letters += LetterOf(*type);
    return letters;
}

ComPtr<IPin> CFilterHost::Pin() const {
    ComPtr<IPin> pin;
    EXPECT_EQ(S_OK, As<IBaseFilter>()->FindPin(L"Output", &pin));
    return pin;
}
