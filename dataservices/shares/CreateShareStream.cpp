#include "dataservices/shares/CreateShareStream.h"

#include "dataservices/shares/CShareConnection.h"
#include "dataservices/store/CSourceStream.h"

namespace dataservices::shares {

HRESULT CreateShareStream(CShareFile::File file, Opening opening, IStream** stream) {
    STATSTG stat{};
    if (const HRESULT hr = file->Stat(&stat, STATFLAG_NONAME); FAILED(hr))
        return hr;
    const SharedOptions options = opening.options;
    const auto share = std::make_shared<ShareSource>(std::move(opening), std::move(file), stat);
    const auto description = std::make_shared<ShareDescription>(share);
    const auto source = store::CRangeSource::Create([share] { return std::make_unique<CShareConnection>(share); },
                                                    {.storeBytes = options->storeBytes, .mostTries = options->retries});
    const store::CReadGate gate;
    if (const HRESULT hr = source->Open(gate, options->openMs); FAILED(hr))
        return hr == E_PENDING ? description->TimedOut() : hr;
    Microsoft::WRL::ComPtr<store::CSourceStream> made;
    const HRESULT hr =
        framework::MakeComObject<store::CSourceStream>(made.GetAddressOf(), description, source, ULONGLONG{0});
    if (SUCCEEDED(hr))
        *stream = static_cast<CReadOnlyStream*>(made.Detach());
    return hr;
}

}  // namespace dataservices::shares
