#include "tests/filter/CFilterHost.h"

#include "framework/com/CTaskMem.h"

using Microsoft::WRL::ComPtr;

namespace {

template <class Function>
Function Export(HMODULE module, const char* name) {
    const auto found = reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
    EXPECT_NE(nullptr, found) << name;
    return found;
}

}  // namespace

std::wstring FilterDllPath() {
    constexpr char kPath[] = TV_BIN_DIR "/TvFileSourceAsync.dll";
    wchar_t wide[1024]{};
    EXPECT_LT(0, ::MultiByteToWideChar(CP_UTF8, 0, kPath, -1, wide, static_cast<int>(std::size(wide))));
    // The build's paths are those of the machine that Wine runs on; Windows finds a DLL by a full path of its own kind.
    wchar_t full[1024]{};
    EXPECT_LT(0u, ::GetFullPathNameW(wide, static_cast<DWORD>(std::size(full)), full, nullptr));
    return full;
}

CFilterHost::CFilterHost(const std::wstring& dllPath) : m_module(::LoadLibraryW(dllPath.c_str())) {
    EXPECT_NE(nullptr, m_module) << "error " << ::GetLastError();
}

CFilterHost::~CFilterHost() {
    m_filter.Reset();
    if (m_module)
        ::FreeLibrary(m_module);
}

HRESULT CFilterHost::GetClassObject(REFCLSID clsid, REFIID iid, void** object) const {
    const auto function = Export<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(m_module, "DllGetClassObject");
    return function ? function(clsid, iid, object) : E_HANDLE;
}

HRESULT CFilterHost::CanUnloadNow() const {
    const auto function = Export<HRESULT(STDAPICALLTYPE*)()>(m_module, "DllCanUnloadNow");
    return function ? function() : E_HANDLE;
}

ComPtr<IClassFactory> CFilterHost::Factory() const {
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(S_OK, GetClassObject(CLSID_TvFileSourceAsync, IID_PPV_ARGS(&factory)));
    return factory;
}

HRESULT CFilterHost::Create(IUnknown* outer) {
    m_filter.Reset();
    const ComPtr<IClassFactory> factory = Factory();
    return factory ? factory->CreateInstance(outer, IID_PPV_ARGS(&m_filter)) : E_FAIL;
}

ULONG CFilterHost::Release() {
    IUnknown* const filter = m_filter.Detach();
    return filter ? filter->Release() : 0;
}

ComPtr<IPin> CFilterHost::Pin() const {
    ComPtr<IPin> pin;
    if (const auto filter = As<IBaseFilter>()) {
        EXPECT_EQ(S_OK, filter->FindPin(L"Output", &pin));
    }
    return pin;
}

std::wstring CFilterHost::CurrentName() const {
    CTaskMem<wchar_t> name;
    const auto source = As<IFileSourceFilter>();
    return source && SUCCEEDED(source->GetCurFile(name.Put(), nullptr)) && name ? name.Get() : L"";
}
