#include "diagnostics/ComErrors.h"

#include "diagnostics/CComException.h"
#include "diagnostics/CDefaultComErrorDescriptionContainer.h"
#include "diagnostics/HResultText.h"

#include <oleauto.h>

using Microsoft::WRL::ComPtr;

namespace {

std::wstring DescriptionOf(HRESULT hr) {
    return CDefaultComErrorDescriptionContainer::Instance().GetDescription(hr);
}

// The interface takes texts as writable and only reads them.
LPOLESTR Writable(const wchar_t* text) noexcept {
    return const_cast<LPOLESTR>(text);
}

}  // namespace

void ThrowComError(HRESULT hr) {
    throw CComException(hr, DescriptionOf(hr).c_str(), 0, nullptr, nullptr);
}

HRESULT ReportComError(HRESULT hr, REFIID iid) {
    return SetComErrorInfo(hr, iid, DescriptionOf(hr).c_str(), 0, nullptr, nullptr);
}

HRESULT ReportComError(HRESULT hr) {
    return ReportComError(hr, __uuidof(IDispatch));
}

HRESULT SetComErrorInfo(HRESULT hr, REFIID iid, const wchar_t* description, DWORD helpContext, const wchar_t* helpFile,
                        const wchar_t* source) noexcept {
    ComPtr<ICreateErrorInfo> made;
    if (FAILED(::CreateErrorInfo(&made)) || !made)
        return hr;
    // A detail that can't be set is left out.
    made->SetDescription(Writable(description));
    made->SetGUID(iid);
    made->SetHelpContext(helpContext);
    made->SetHelpFile(Writable(helpFile));
    made->SetSource(Writable(source));
    ComPtr<IErrorInfo> errorInfo;
    if (SUCCEEDED(made.As(&errorInfo)))
        ::SetErrorInfo(0, errorInfo.Get());
    return hr;
}

namespace TKRuntimeLogger {

bool IsFrameworkError(HRESULT hr) {
    return !DescriptionOf(hr).empty();
}

std::wstring ComErrorText(HRESULT hr, IErrorInfo* errorInfo) {
    std::wstring text = DescriptionOf(hr);
    const bool isFrameworks = errorInfo && !text.empty() && CComException(hr, errorInfo).GetDescription() == text;
    return isFrameworks ? text : HResultText(hr);
}

}  // namespace TKRuntimeLogger
