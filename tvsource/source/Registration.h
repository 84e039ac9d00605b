// What a person types to register one of the product's DLLs.
#pragma once

#include <string>

namespace tvsource {

// The command, with the DLL's path where it lies beside the program.
[[nodiscard]] std::wstring RegisteringCommand(const wchar_t* library);

// The same as advice where the data services are missing.
[[nodiscard]] std::wstring DataServicesAdvice();

}  // namespace tvsource
