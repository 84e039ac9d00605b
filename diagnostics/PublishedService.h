// The logging service that the Running Object Table has, whoever it is.
//
// Threads: any in a COM apartment.  Errors: none but what foreign code throws, which is called.
#pragma once

#include <unknwn.h>
#include <wrl/client.h>

namespace TKRuntimeLogger {

// Null: none is published. One whose process has ended may still be there, and then answers no interface.
[[nodiscard]] Microsoft::WRL::ComPtr<IUnknown> PublishedService();

}  // namespace TKRuntimeLogger
