// The DLL's entry points, and the class that it serves.
#include "baseclasses/DllSetup.h"
#include "filter/CCustomFileSourceFilter.h"
#include "filter/CMyModule.h"
#include "filter/FilterSetup.h"
#include "framework/com/GlobalInterfaceTable.h"

namespace {

CMyModule g_module;

HRESULT SharedGlobalInterfaceTable(IGlobalInterfaceTable** table) {
    return g_module.GetGITPtr(table);
}

}  // namespace

CFactoryTemplate g_Templates[] = {
    {L"Tavel File Source (Async.)", &CLSID_TvFileSourceAsync, &CCustomFileSourceFilter::CreateInstance, nullptr,
     &filter::kFilterSetup},
};
int g_cTemplates = 1;

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* reserved) {
    if (reason == DLL_PROCESS_ATTACH)
        TKFSetGlobalInterfaceTableProvider(&SharedGlobalInterfaceTable);
    else if (reason == DLL_PROCESS_DETACH)
        TKFSetGlobalInterfaceTableProvider(nullptr);
    return DllEntryPoint(instance, reason, reserved);
}

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
    return AMovieDllGetClassObject(rclsid, riid, ppv);
}

STDAPI DllCanUnloadNow() {
    return AMovieDllCanUnloadNow();
}

STDAPI DllRegisterServer() {
    return AMovieDllRegisterServer2(TRUE);
}

STDAPI DllUnregisterServer() {
    return AMovieDllRegisterServer2(FALSE);
}
