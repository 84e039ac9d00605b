// The DLL's exports. It is loaded and freed for each detection: nothing is started here, and nothing is left behind.
#include "metadata/CMimeTypeDictionary.h"

extern "C" IMimeTypeDictionary* STDMETHODCALLTYPE GetMimeTypeDictionary() {
    return MimeTypeDictionary();
}

extern "C" IMimeTypeList* STDMETHODCALLTYPE ExplainMimeTypes(IStream* stream, IMimeTypeList** explanation) {
    return DetectAndExplain(stream, explanation);
}
