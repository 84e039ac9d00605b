#include "tvsource/source/LayerOptions.h"

#include "TKDataServices.h"
#include "base/CBstr.h"
#include "base/ForeignCalls.h"
#include "console/CCommandError.h"
#include "console/Text.h"
#include "tvsource/source/Registration.h"

namespace tvsource {

using Microsoft::WRL::ComPtr;

ComPtr<IUnknown> AccessFactoryWith(const LayerOptions& options) {
    ComPtr<ITKDSSourceOptions> factory;
    const HRESULT made = base::CreateObject(CLSID_TKDSUriAccessFactory, factory);
    if (made == REGDB_E_CLASSNOTREG)
        throw console::CCommandError(L"Options of sources need a data-service layer, and none is registered", made)
            .Advise(DataServicesAdvice());
    if (made == E_NOINTERFACE)
        throw console::CCommandError(L"The registered data-service layer takes no options of sources, such as " +
                                     console::Printable(options.front().word));
    console::Check(made, L"Cannot make the data-service layer's access factory");
    for (const LayerOption& option : options) {
        constexpr auto kNoSuchOption = static_cast<HRESULT>(0x80040001);
        const base::CBstr name(option.name), text(option.value);
        VARIANT value{};
        value.vt = VT_BSTR;
        value.bstrVal = text.Get();
        const HRESULT hr = factory->SetOption(name.Get(), value);
        if (hr == kNoSuchOption)
            throw console::CCommandError(L"The data-service layer knows no such option as " +
                                         console::Printable(option.word));
        if (FAILED(hr))
            throw console::CCommandError(
                L"The data-service layer does not take this value of " + console::Printable(option.word), hr);
    }
    ComPtr<IUnknown> result;
    console::Check(factory.As(&result), L"Cannot use the data-service layer's access factory");
    return result;
}

}  // namespace tvsource
