// What a filter tells the system about itself, and how it is registered there: as a COM class in the registry, and as a
// filter with the filter mapper.
//
// All functions need their `setup` records only during the call.  Threads: any.
#pragma once

#include "baseclasses/DirectShow.h"

using AMOVIESETUP_MEDIATYPE = REGPINTYPES;
// The platform declares its strName as writable text; nothing here writes to it.
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

// The same, with the mapper that the system has: the newer one if there is one. COM is entered for the call; the thread
// may have entered it already, in any mode.
[[nodiscard]] HRESULT AMovieSetupFilter(const AMOVIESETUP_FILTER& setup, BOOL install) noexcept;
