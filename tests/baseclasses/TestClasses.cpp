#include "tests/baseclasses/TestClasses.h"

#include "baseclasses/CFactoryTemplate.h"

#include <new>

std::vector<BOOL> initCalls;

namespace {

const AMOVIESETUP_MEDIATYPE pinType{&MEDIATYPE_Stream, &MEDIASUBTYPE_NULL};
wchar_t pinName[] = L"Output";
const AMOVIESETUP_PIN pin{pinName, FALSE, TRUE, FALSE, FALSE, &CLSID_NULL, nullptr, 1, &pinType};

CUnknown* CALLBACK CreateFilter(IUnknown* outer, HRESULT* phr) {
    return new CTestFilter(outer, phr);
}

CUnknown* CALLBACK CreateFailing(IUnknown* outer, HRESULT* phr) {
    *phr = VFW_E_NOT_FOUND;
    return new CTestFilter(outer, phr);
}

CUnknown* CALLBACK CreateNothing(IUnknown*, HRESULT*) {
    return nullptr;
}

CUnknown* CALLBACK CreateThrowing(IUnknown*, HRESULT*) {
    throw std::bad_alloc();
}

void CALLBACK NoteInit(BOOL loading, const CLSID*) {
    initCalls.push_back(loading);
}

}  // namespace

const AMOVIESETUP_FILTER testFilterSetup{&CLSID_TestFilter, L"Base class test filter", MERIT_UNLIKELY, 1, &pin};

CFactoryTemplate g_Templates[] = {
    {L"Base class test filter", &CLSID_TestFilter, CreateFilter, NoteInit, &testFilterSetup},
    {L"Failing", &CLSID_FailingFilter, CreateFailing, nullptr, nullptr},
    {L"Missing", &CLSID_MissingFilter, CreateNothing, nullptr, nullptr},
    {L"Throwing", &CLSID_ThrowingFilter, CreateThrowing, nullptr, nullptr},
};
int g_cTemplates = 4;
