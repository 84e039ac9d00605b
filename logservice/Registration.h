// What the registry holds of the service: how its interfaces cross processes, and that it may be published to clients
// of other rights.
//
//   SOFTWARE\Classes\Interface\{...}  of each interface: the platform's type-library marshaller, and which library
//   SOFTWARE\Classes\TypeLib\{...}    this program's file, which has the library for both bitnesses
//   SOFTWARE\Classes\AppID\{...}      ROTFlags 1 (ROTREGFLAGS_ALLOWANYCLIENT), and which program that is for
//
// All of HKEY_LOCAL_MACHINE, in the 64-bit and in the 32-bit view alike, so that one registration serves services and
// clients of both bitnesses. Neither the filter nor any class is registered here.
//
// Errors: the result of the registry call that failed; without an administrator's rights it is E_ACCESSDENIED.
#pragma once

#include <windows.h>

#include <string>

namespace logservice {

// Again and again is no error; the last program that registers itself is the one that counts. An interface that another
// marshaller serves is left to that. What was written before a failure is taken back
// where nothing was registered before.
[[nodiscard]] HRESULT Register();

// Removes what Register wrote, unless it names another program that is there: another copy, which goes on serving. That
// one stays, and its path is put into `*other`, where that isn't null. Nothing registered is no error.
[[nodiscard]] HRESULT Unregister(std::wstring* other = nullptr);

// Whether clients of other processes can reach the interfaces, as far as the registry tells: all of them are served,
// and the type library, where ours are among them, is in a file that is there.
[[nodiscard]] bool IsRegistered();

}  // namespace logservice
