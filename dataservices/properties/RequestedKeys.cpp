#include "dataservices/properties/RequestedKeys.h"

#include "base/ForeignCalls.h"

namespace dataservices {

HRESULT ReadRequestedKeys(ITKCFConstStringList& list, RequestedKeys* keys) {
    long count = 0;
    HRESULT hr = list.GetCount(&count);
    for (long index = 0; SUCCEEDED(hr) && index < count; ++index) {
        base::CBstr key;
        hr = base::ReceiveAny(key, &list, &ITKCFConstStringList::GetItem, index);
        keys->mimeType |= key.View() == mdMimeType;
        keys->originalUri |= key.View() == mdOriginalUri;
    }
    return FAILED(hr) ? hr : S_OK;
}

}  // namespace dataservices
