#include "dataservices/RequestedKeys.h"

#include "diagnostics/ForeignCalls.h"

HRESULT ReadRequestedKeys(ITKCFConstStringList& list, RequestedKeys* keys) {
    long count = 0;
    HRESULT hr = list.GetCount(&count);
    for (long index = 0; SUCCEEDED(hr) && index < count; ++index) {
        CBstr key;
        hr = ReceiveAny(key, &list, &ITKCFConstStringList::GetItem, index);
        keys->mimeType |= key.View() == mdMimeType;
        keys->originalUri |= key.View() == mdOriginalUri;
    }
    return FAILED(hr) ? hr : S_OK;
}
