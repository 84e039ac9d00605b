#include "dataservices/http/CreateHttpStream.h"

#include "base/ComBoundary.h"
#include "dataservices/http/CHttpConnection.h"
#include "dataservices/http/HttpLog.h"
#include "dataservices/store/CSourceStream.h"

#include <wrl/client.h>

namespace dataservices::http {

HRESULT CreateHttpStream(const CTKFUri& url, IStream** stream, store::CRangeSource::Clock clock,
                         SharedOptions options) noexcept {
    if (!stream)
        return E_POINTER;
    *stream = nullptr;
    return base::ComBoundary([&]() -> HRESULT {
        auto target = CHttpUrl::From(url);
        if (!target)
            return E_INVALIDARG;
        if (!options)
            options = std::make_shared<const SourceOptions>();
        const auto http = std::make_shared<HttpSource>(std::move(*target), options);
        const auto source = store::CRangeSource::Create(
            [http] { return std::make_unique<CHttpConnection>(http); },
            {.storeBytes = options->storeBytes, .mostTries = options->retries, .clock = clock});
        const store::CReadGate gate;
        HRESULT hr = source->Open(gate, options->openMs);
        if (hr == E_PENDING)
            hr = kHttpTimeout;
        if (FAILED(hr)) {
            HTTP_LOG(TKRuntimeLogger::kError, L"CreateHttpStream", L"%s can't be opened: hr=0x%08X",
                     http->Name().c_str(), hr);
            return hr;
        }
        if (!http->IsStation())
            source->AwaitEnd(gate, kEndMs);
        Microsoft::WRL::ComPtr<store::CSourceStream> made;
        hr = framework::MakeComObject<store::CSourceStream>(made.GetAddressOf(), http, source, ULONGLONG{0});
        if (SUCCEEDED(hr))
            *stream = static_cast<CReadOnlyStream*>(made.Detach());
        return hr;
    });
}

}  // namespace dataservices::http
