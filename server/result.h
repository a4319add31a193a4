// The one routine that turns an SDK outcome into the object clients see.
#pragma once

#include "sdk/base/PvResult.h"
#include "server/type_library.h"

namespace vex::server {

/// Stores a new result object that holds `result`, with one reference, in *object. E_OUTOFMEMORY when it cannot be
/// made; *object is not written then. E_POINTER for a null `object`.
HRESULT CreateResultObject(PvResult result, IVexResult** object) noexcept;

}  // namespace vex::server
