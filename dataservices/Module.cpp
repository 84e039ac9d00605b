// The DLL's entry points, and the classes that it serves.
#include "baseclasses/DllSetup.h"
#include "dataservices/CUriAccessFactory.h"
#include "dataservices/NewObject.h"
#include "dataservices/directories/CVirtualDirectoryFactory.h"
#include "dataservices/properties/CMetaDataExtractionOptions.h"
#include "dataservices/properties/CMetaDataReader.h"
#include "dataservices/properties/CStringList.h"

using namespace dataservices;

CFactoryTemplate g_Templates[] = {
    {L"Tavel data services: access by URI", &CLSID_TKDSUriAccessFactory, &NewObject<CUriAccessFactory>, nullptr,
     nullptr},
    {L"Tavel data services: virtual directories", &CLSID_TKDSVirtualDirectoryFactory,
     &NewObject<CVirtualDirectoryFactory>, nullptr, nullptr},
    {L"Tavel data services: string list", &CLSID_TKCFStringList, &NewObject<CStringList>, nullptr, nullptr},
    {L"Tavel data services: metadata reader", &CLSID_TKDSMetaDataReader, &NewObject<CMetaDataReader>, nullptr, nullptr},
    {L"Tavel data services: metadata extraction options", &CLSID_TKDSMetaDataExtractionOptions,
     &NewObject<CMetaDataExtractionOptions>, nullptr, nullptr},
};
int g_cTemplates = static_cast<int>(sizeof g_Templates / sizeof g_Templates[0]);

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* reserved) {
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
