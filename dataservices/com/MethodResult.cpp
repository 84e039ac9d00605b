#include "dataservices/com/MethodResult.h"

#include "base/ComBoundary.h"
#include "base/ForeignCalls.h"
#include "diagnostics/ComErrors.h"

#include <oleauto.h>

namespace dataservices {

HRESULT MethodResult::Report(REFIID iid) const noexcept {
    if (SUCCEEDED(m_hr) || m_info == Info::AsItIs)
        return m_hr;
    ::SetErrorInfo(0, nullptr);
    if (m_info == Info::Text)
        base::RunQuietly([&] {
            if (TKRuntimeLogger::IsFrameworkError(m_hr))
                ReportComError(m_hr, iid);
        });
    return m_hr;
}

bool MethodResult::Reports(IUnknown& object, REFIID iid) {
    Microsoft::WRL::ComPtr<ISupportErrorInfo> support;
    return SUCCEEDED(base::QueryFor(object, support.GetAddressOf())) &&
           support->InterfaceSupportsErrorInfo(iid) == S_OK;
}

}  // namespace dataservices
