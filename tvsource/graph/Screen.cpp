#include "tvsource/graph/Screen.h"

#include "base/LateLoad.h"

#include <windows.h>

#include <d3d9.h>
#include <wrl/client.h>

namespace tvsource {

using Microsoft::WRL::ComPtr;

bool HasScreen() noexcept {
    USEROBJECTFLAGS station{};
    if (::GetUserObjectInformationW(::GetProcessWindowStation(), UOI_FLAGS, &station, sizeof station, nullptr) &&
        !(station.dwFlags & WSF_VISIBLE))
        return false;

    // Loaded at run time: a system without Direct3D must still start the program.
    const base::CAutoLibrary library = base::LateLoadSystem(L"d3d9.dll");
    if (!library)
        return false;
    const auto create = base::ExportOf<decltype(&::Direct3DCreate9)>(library, "Direct3DCreate9");
    if (!create)
        return false;
    ComPtr<IDirect3D9> direct3D;  // gone before its library
    *direct3D.GetAddressOf() = create(D3D_SDK_VERSION);
    return direct3D && direct3D->GetAdapterCount() > 0;
}

}  // namespace tvsource
