#include "tests/baseclasses/TestClasses.h"

#include "baseclasses/CFactoryTemplate.h"

#include <new>

std::vector<BOOL> initCalls;

namespace {

const AMOVIESETUP_MEDIATYPE pinType{&MEDIATYPE_Stream, &MEDIASUBTYPE_NULL};
wchar_t pinName[] = L"Output";
const AMOVIESETUP_PIN pin{pinName, FALSE, TRUE, FALSE, FALSE, &CLSID_NULL, nullptr, 1, &pinType};

}  // namespace

const AMOVIESETUP_FILTER testFilterSetup{&CLSID_TestFilter, L"Base class test filter", MERIT_UNLIKELY, 1, &pin};

CFactoryTemplate g_Templates[] = {
    {L"Base class test filter", &CLSID_TestFilter,
     [](IUnknown* outer, HRESULT* phr) -> CUnknown* { return new CTestFilter(outer, phr); },
     [](BOOL loading, const CLSID*) { initCalls.push_back(loading); }, &testFilterSetup},
    {L"Failing", &CLSID_FailingFilter,
     [](IUnknown* outer, HRESULT* phr) -> CUnknown* {
         *phr = VFW_E_NOT_FOUND;
         return new CTestFilter(outer, phr);
     },
     nullptr, nullptr},
    {L"Missing", &CLSID_MissingFilter, [](IUnknown*, HRESULT*) -> CUnknown* { return nullptr; }, nullptr, nullptr},
    {L"Throwing", &CLSID_ThrowingFilter, [](IUnknown*, HRESULT*) -> CUnknown* { throw std::bad_alloc(); }, nullptr,
     nullptr},
};
int g_cTemplates = 4;
