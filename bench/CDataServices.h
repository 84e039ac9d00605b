// TvDataServices.dll beside this program. Its class is registered for this process only, so that the filter finds it.
#pragma once

#include "bench/CProductLibrary.h"

namespace bench {

class CDataServices final {
public:
    // Throws std::runtime_error when the DLL isn't there or COM doesn't take its class.
    CDataServices();
    CDataServices(const CDataServices&) = delete;
    CDataServices& operator=(const CDataServices&) = delete;
    ~CDataServices();

private:
    const CProductLibrary m_library{L"TvDataServices.dll"};
    DWORD m_registration = 0;
};

}  // namespace bench
