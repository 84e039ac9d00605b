#include "bench/CProductLibrary.h"

#include "base/LateLoad.h"
#include "base/ModuleFolder.h"
#include "bench/BenchCheck.h"

namespace bench {

using Microsoft::WRL::ComPtr;

CProductLibrary::CProductLibrary(const wchar_t* name)
    : m_library(::LoadLibraryW((base::OwnModuleFolder() + name).c_str())) {
    CheckWin32(static_cast<bool>(m_library), "LoadLibrary of a DLL of ours");
}

ComPtr<IClassFactory> CProductLibrary::Factory(REFCLSID classId) const {
    using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto getClassObject = base::ExportOf<GetClassObject>(m_library, "DllGetClassObject");
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
