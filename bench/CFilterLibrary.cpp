#include "bench/CFilterLibrary.h"

#include "TvFileSourceAsync.h"
#include "bench/BenchCheck.h"

#include <objbase.h>
#include <uuids.h>

namespace bench {

using Microsoft::WRL::ComPtr;

CFilterLibrary::CFilterLibrary() : m_factory(m_library.Factory(CLSID_TvFileSourceAsync)) {}

ComPtr<IClassFactory> StockFactory() {
    ComPtr<IClassFactory> factory;
    Check(::CoGetClassObject(CLSID_AsyncReader, CLSCTX_INPROC_SERVER, nullptr, IID_PPV_ARGS(&factory)),
          "CoGetClassObject of the stock file source");
    return factory;
}

}  // namespace bench
