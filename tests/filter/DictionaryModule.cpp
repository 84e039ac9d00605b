// The MIME dictionary of the tests: gives out the CScriptedDictionary of the test program, if there is one.
#include "sdk/TvMetadata.h"

#include <cstdint>
#include <cwchar>

extern "C" IMimeTypeDictionary* STDMETHODCALLTYPE GetMimeTypeDictionary() {
    wchar_t address[32]{};
    ::GetEnvironmentVariableW(L"TV_TEST_DICTIONARY", address, 32);
    return reinterpret_cast<IMimeTypeDictionary*>(static_cast<std::uintptr_t>(std::wcstoull(address, nullptr, 10)));
}
