// From an object's place to one of its accessors: what every OpenUriAs and OpenEntryAs of this layer does.
//
// `accessorId` is one of the names TKDS_ACCESSOR_*. `*accessor` comes in empty and receives VT_UNKNOWN.
// `options` hold for what is opened through the accessor.
// E_NOINTERFACE: the object has no such accessor, or no accessor has that name.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include "dataservices/Place.h"
#include "dataservices/SourceOptions.h"

#include <oaidl.h>

namespace dataservices {

[[nodiscard]] HRESULT OpenPlaceAs(const Place& place, const std::wstring& accessorId, const SharedOptions& options,
                                  VARIANT* accessor);

// `name` is as ITKDSUriAccessFactory::OpenUriAs takes it. Fails as FindPlace does, too.
[[nodiscard]] HRESULT OpenNameAs(const std::wstring& name, const std::wstring& accessorId, const SharedOptions& options,
                                 VARIANT* accessor);

}  // namespace dataservices
