#include "framework/com/GlobalInterfaceTable.h"

#include <objbase.h>

#include <atomic>

namespace {
std::atomic<TKFGlobalInterfaceTableProvider> g_provider{nullptr};
}  // namespace

HRESULT TKFGetGlobalInterfaceTable(IGlobalInterfaceTable** table) noexcept {
    if (!table)
        return E_POINTER;
    *table = nullptr;
    if (const TKFGlobalInterfaceTableProvider provider = g_provider.load())
        return provider(table);
    return ::CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                              __uuidof(IGlobalInterfaceTable), reinterpret_cast<void**>(table));
}

void TKFSetGlobalInterfaceTableProvider(TKFGlobalInterfaceTableProvider provider) noexcept {
    g_provider.store(provider);
}
