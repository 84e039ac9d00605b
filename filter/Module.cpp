// The DLL's entry points, and the class that it serves.
#include "baseclasses/DllSetup.h"
#include "filter/CCustomFileSourceFilter.h"
#include "filter/CMyModule.h"
#include "framework/com/GlobalInterfaceTable.h"

#include <uuids.h>

namespace {

const AMOVIESETUP_MEDIATYPE kOutputType = {&MEDIATYPE_Stream, &MEDIASUBTYPE_NULL};

wchar_t g_outputName[] = L"Output";

const AMOVIESETUP_PIN kOutputPin = {
    g_outputName,
    FALSE,  // rendered
    TRUE,   // output
    FALSE,  // zero instances allowed
    FALSE,  // many instances
    &CLSID_NULL,
    nullptr,  // connects to pin
    1,
    &kOutputType,
};

const AMOVIESETUP_FILTER kFilterSetup = {
    &CLSID_TvFileSourceAsync, L"Tavel File Source (Async.)", MERIT_UNLIKELY, 1, &kOutputPin,
};

CMyModule g_module;

HRESULT SharedGlobalInterfaceTable(IGlobalInterfaceTable** table) {
    return g_module.GetGITPtr(table);
}

}  // namespace

CFactoryTemplate g_Templates[] = {
    {L"Tavel File Source (Async.)", &CLSID_TvFileSourceAsync, &CCustomFileSourceFilter::CreateInstance, nullptr,
     &kFilterSetup},
};
int g_cTemplates = 1;

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* reserved) {
    if (reason == DLL_PROCESS_ATTACH)
        TKFSetGlobalInterfaceTableProvider(&SharedGlobalInterfaceTable);
    else if (reason == DLL_PROCESS_DETACH)
        TKFSetGlobalInterfaceTableProvider(nullptr);
    return DllEntryPoint(instance, reason, reserved);
}

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) { return AMovieDllGetClassObject(rclsid, riid, ppv); }

STDAPI DllCanUnloadNow() { return AMovieDllCanUnloadNow(); }

STDAPI DllRegisterServer() {
    return AMovieDllRegisterServer2(TRUE);
}

STDAPI DllUnregisterServer() {
    return AMovieDllRegisterServer2(FALSE);
}
