// Steps of this folder's functions that take more than one call of ForeignCalls.h.
#pragma once

#include "TKDataServices.h"
#include "base/CBstr.h"
#include "base/ComBoundary.h"

#include <windows.h>

#include <oleauto.h>
#include <wrl/client.h>

namespace FileAccess {

// Throws CAtlException carrying E_OUTOFMEMORY when a string can't be allocated. An exception of the layer becomes a
// result.
[[nodiscard]] inline HRESULT OpenUriAs(ITKDSUriAccessFactory& factory, const wchar_t* uri, const wchar_t* accessorId,
                                       VARIANT* accessor) {
    const base::CBstr uriText(uri);
    const base::CBstr accessorIdText(accessorId);
    return base::ComBoundary([&] { return factory.OpenUriAs(uriText.Get(), accessorIdText.Get(), accessor); });
}

// Hands `from` out as the last step of a function.  E_POINTER: there is no place to put it.
template <class Interface>
[[nodiscard]] HRESULT HandOut(Microsoft::WRL::ComPtr<Interface>& from, Interface** to) noexcept {
    if (!to)
        return E_POINTER;
    *to = from.Detach();
    return S_OK;
}

}  // namespace FileAccess
