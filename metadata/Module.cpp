// The DLL's exports. It is loaded and freed for each detection: nothing is started here, and nothing is left behind.
#include "metadata/CMimeTypeDictionary.h"

#include <exception>

using namespace metadata;

#ifdef __GLIBCXX__
namespace __gnu_cxx {
void __freeres() noexcept;
}

namespace {

// GCC's run-time library has some 70 KB in reserve for exceptions when memory runs out. As a part of this DLL it would
// lose them each time that the DLL is freed.
struct CExceptionReserve {
    CExceptionReserve() noexcept = default;
    CExceptionReserve(const CExceptionReserve&) = delete;
    CExceptionReserve& operator=(const CExceptionReserve&) = delete;
    ~CExceptionReserve() { __gnu_cxx::__freeres(); }
} g_exceptionReserve;

}  // namespace
#endif

extern "C" IMimeTypeDictionary* STDMETHODCALLTYPE GetMimeTypeDictionary() {
    return MimeTypeDictionary();
}

extern "C" IMimeTypeList* STDMETHODCALLTYPE ExplainMimeTypes(IStream* stream, IMimeTypeList** explanation,
                                                             HRESULT* result) {
    return DetectAndExplain(stream, explanation, result);
}

extern "C" IMimeTypeList* STDMETHODCALLTYPE DetectMimeTypes(IStream* stream, HRESULT* result) {
    return DetectAndExplain(stream, nullptr, result);
}
