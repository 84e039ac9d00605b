#include "bench/CProductLibrary.h"

#include "bench/BenchCheck.h"

#include <bit>
#include <filesystem>

namespace bench {

using Microsoft::WRL::ComPtr;

namespace {

std::filesystem::path ProgramFolder() {
    std::wstring path(0x8000, L'\0');  // no path is longer
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

}  // namespace

CProductLibrary::CProductLibrary(const wchar_t* name) : m_library(::LoadLibraryW((ProgramFolder() / name).c_str())) {
    CheckWin32(static_cast<bool>(m_library), "LoadLibrary of a DLL of ours");
}

ComPtr<IClassFactory> CProductLibrary::Factory(REFCLSID classId) const {
    using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto getClassObject = std::bit_cast<GetClassObject>(::GetProcAddress(m_library.Get(), "DllGetClassObject"));
    CheckWin32(getClassObject != nullptr, "GetProcAddress of DllGetClassObject");
    ComPtr<IClassFactory> factory;
    Check(getClassObject(classId, IID_PPV_ARGS(&factory)), "DllGetClassObject");
    return factory;
}

void CProductLibrary::Keep() const {
    HMODULE ignored = nullptr;
    CheckWin32(::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                                    reinterpret_cast<const wchar_t*>(m_library.Get()), &ignored),
               "GetModuleHandleEx");
}

}  // namespace bench
