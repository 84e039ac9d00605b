// What a filter tells the system about itself, and how it is registered there: as a COM class in the registry, and as a
// filter with the filter mapper.
//
// All functions want `setup` records that stay valid during the call only.  Threads: any.
#pragma once

#include "baseclasses/DirectShow.h"

using AMOVIESETUP_MEDIATYPE = REGPINTYPES;
// Its strName is text that may be written to, by the platform's declaration; nothing here does.
using AMOVIESETUP_PIN = REGFILTERPINS;

struct AMOVIESETUP_FILTER {
    const CLSID* clsID;
    const WCHAR* strName;
    DWORD dwMerit;
    UINT nPins;
    const AMOVIESETUP_PIN* lpPin;
};

// Makes (or, `install` false, removes) the class key of `clsid` under HKEY_CLASSES_ROOT: `name`, and an InprocServer32
// key with `path` and the threading model Both. Removing what is not there succeeds.
[[nodiscard]] HRESULT AMovieSetupRegisterServer(REFCLSID clsid, const WCHAR* name, const WCHAR* path,
                                                BOOL install) noexcept;

// Registers (or, `install` false, removes) the filter with one of the two mappers. It takes the place of an earlier
// registration. ERROR_FILE_NOT_FOUND from the mapper counts as success.
[[nodiscard]] HRESULT AMovieSetupRegisterFilter2(const AMOVIESETUP_FILTER& setup, IFilterMapper2* mapper,
                                                 BOOL install) noexcept;
[[nodiscard]] HRESULT AMovieSetupRegisterFilter(const AMOVIESETUP_FILTER& setup, IFilterMapper* mapper,
                                                BOOL install) noexcept;

// The same, with the mapper that the system has: the newer one if it can be had. COM is entered for the call, and
// whatever mode the thread has entered it in already is as good.
[[nodiscard]] HRESULT AMovieSetupFilter(const AMOVIESETUP_FILTER& setup, BOOL install) noexcept;
