#include "dataservices/properties/RequestedKeys.h"

#include "base/ForeignCalls.h"

namespace dataservices {

HRESULT ReadRequestedKeys(ITKCFConstStringList& list, RequestedKeys* keys) {
    long count = 0;
    if (const HRESULT hr = list.GetCount(&count); FAILED(hr))
        return hr;
    for (long index = 0; index < count; ++index) {
        base::CBstr key;
        if (const HRESULT hr = base::ReceiveAny(key, &list, &ITKCFConstStringList::GetItem, index); FAILED(hr))
            return hr;
        keys->mimeType |= key.View() == mdMimeType;
        keys->originalUri |= key.View() == mdOriginalUri;
    }
    return S_OK;
}

}  // namespace dataservices
