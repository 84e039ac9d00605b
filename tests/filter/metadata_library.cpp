// The metadata library of the tests: gives out the dictionary that lives in the test program, if there is one.
#include "tests/filter/CScriptedDictionary.h"

#include <cstdint>
#include <cstdlib>

extern "C" IMimeTypeDictionary* STDMETHODCALLTYPE GetMimeTypeDictionary() {
    wchar_t address[32]{};
    if (::GetEnvironmentVariableW(kDictionaryAddressVariable, address, static_cast<DWORD>(std::size(address))) == 0)
        return nullptr;
    return reinterpret_cast<IMimeTypeDictionary*>(static_cast<std::uintptr_t>(std::wcstoull(address, nullptr, 10)));
}
