// The Global Interface Table, through which an interface pointer passes from one apartment to another.
#pragma once

#include <windows.h>

#include <objidl.h>

using TKFGlobalInterfaceTableProvider = HRESULT (*)(IGlobalInterfaceTable** table);

// Hands out the table with a reference: the module's shared one if a provider was set, otherwise the platform's.
// E_POINTER: `table` is null.  Otherwise the provider's or CoCreateInstance's result.  Any thread that is in an
// apartment.
[[nodiscard]] HRESULT TKFGetGlobalInterfaceTable(IGlobalInterfaceTable** table) noexcept;

// Says where the module's shared table comes from; null takes that back. The provider must not throw, and hands out a
// reference that its caller releases. It may be called from any thread.
void TKFSetGlobalInterfaceTableProvider(TKFGlobalInterfaceTableProvider provider) noexcept;
