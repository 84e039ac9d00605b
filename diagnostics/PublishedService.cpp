#include "diagnostics/PublishedService.h"

#include "TKRuntimeLogger.h"

#include <objbase.h>

using Microsoft::WRL::ComPtr;

namespace TKRuntimeLogger {

ComPtr<IUnknown> PublishedService() {
    ComPtr<IRunningObjectTable> table;
    ComPtr<IMoniker> name;
    IUnknown* service = nullptr;
    if (FAILED(::GetRunningObjectTable(0, &table)) || FAILED(::CreateFileMoniker(kTKRuntimeLoggerMoniker, &name)) ||
        table->GetObject(name.Get(), &service) != S_OK)
        return nullptr;
    ComPtr<IUnknown> found;
    found.Attach(service);
    return found;
}

}  // namespace TKRuntimeLogger
