// One row of the module's table of COM classes. The module defines the table:
//
//   CFactoryTemplate g_Templates[] = {{L"Friendly name", &CLSID_Thing, CThing::CreateInstance, nullptr, &setup}};
//   int g_cTemplates = 1;
#pragma once

#include "baseclasses/AMovieSetup.h"
#include "baseclasses/CUnknown.h"

// Makes the object, whose count is 0. Null: it couldn't be allocated. A constructor that failed wrote to `*phr`.
using LPFNNewCOMObject = CUnknown*(CALLBACK*)(IUnknown* outer, HRESULT* phr);
// Called when the module is loaded and when it is unloaded.
using LPFNInitRoutine = void(CALLBACK*)(BOOL loading, const CLSID* clsid);

struct CFactoryTemplate {
    const WCHAR* m_Name;
    const CLSID* m_ClsID;
    LPFNNewCOMObject m_lpfnNew;
    LPFNInitRoutine m_lpfnInit;                       // may be null
    const AMOVIESETUP_FILTER* m_pAMovieSetup_Filter;  // null: not a filter
};

extern CFactoryTemplate g_Templates[];
extern int g_cTemplates;
