#include "bench/CFilterLibrary.h"

#include "bench/BenchCheck.h"

#include <TvFileSourceAsync.h>
#include <objbase.h>
#include <uuids.h>

#include <bit>
#include <filesystem>

using Microsoft::WRL::ComPtr;

namespace {

std::filesystem::path ProgramFolder() {
    std::wstring path(0x8000, L'\0');  // no path is longer
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path();
}

}  // namespace

CFilterLibrary::CFilterLibrary() : m_library(::LoadLibraryW((ProgramFolder() / L"TvFileSourceAsync.dll").c_str())) {
    CheckWin32(static_cast<bool>(m_library), "LoadLibrary of TvFileSourceAsync.dll");
    using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto getClassObject = std::bit_cast<GetClassObject>(::GetProcAddress(m_library.Get(), "DllGetClassObject"));
    CheckWin32(getClassObject != nullptr, "GetProcAddress of DllGetClassObject");
    Check(getClassObject(CLSID_TvFileSourceAsync, IID_PPV_ARGS(&m_factory)), "DllGetClassObject");
}

ComPtr<IClassFactory> StockFactory() {
    ComPtr<IClassFactory> factory;
    Check(::CoGetClassObject(CLSID_AsyncReader, CLSCTX_INPROC_SERVER, nullptr, IID_PPV_ARGS(&factory)),
          "CoGetClassObject of the stock file source");
    return factory;
}
