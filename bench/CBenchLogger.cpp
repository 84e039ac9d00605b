#include "bench/CBenchLogger.h"

#include "bench/BenchCheck.h"

namespace bench {

using Microsoft::WRL::ComPtr;

CBenchLogger::CBenchLogger() {
    Check(framework::MakeComObject<CService>(&m_service), "Making the logging service");
    ComPtr<IMoniker> moniker;
    Check(::CreateFileMoniker(kTKRuntimeLoggerMoniker, &moniker), "CreateFileMoniker");
    Check(::GetRunningObjectTable(0, &m_table), "GetRunningObjectTable");
    Check(m_table->Register(ROTFLAGS_REGISTRATIONKEEPSALIVE, m_service.Get(), moniker.Get(), &m_registration),
          "IRunningObjectTable::Register (is another logging service running?)");
}

CBenchLogger::~CBenchLogger() {
    m_table->Revoke(m_registration);
}

STDMETHODIMP CBenchLogger::CService::Log(LONG, BSTR, ULONG, ULONG, BSTR, LONG, BSTR, BSTR) noexcept {
    ++records;
    return S_OK;
}

STDMETHODIMP CBenchLogger::CService::LogProfile(LONG, BSTR, ULONG, BSTR, LONG, BSTR, BSTR, ULONGLONG, double, double,
                                                double) noexcept {
    ++profileRecords;
    return S_OK;
}

STDMETHODIMP CBenchLogger::CService::LogExplicit(LONG, BSTR, ULONG, ULONG, BSTR, LONG, ULONG, BSTR, BSTR,
                                                 VARIANT_BOOL) noexcept {
    return S_OK;
}

}  // namespace bench
