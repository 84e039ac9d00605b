#include "bench/CDataServices.h"

#include "TKDataServices.h"
#include "bench/BenchCheck.h"

#include <objbase.h>

namespace bench {

CDataServices::CDataServices() {
    m_library.Keep();  // the HTTP library ends requests on threads of its own
    Check(::CoRegisterClassObject(CLSID_TKDSUriAccessFactory, m_library.Factory(CLSID_TKDSUriAccessFactory).Get(),
                                  CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_registration),
          "CoRegisterClassObject");
}

CDataServices::~CDataServices() {
    ::CoRevokeClassObject(m_registration);
}

}  // namespace bench
