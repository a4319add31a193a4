// What the server writes to the registry, and how it takes it back.
#pragma once

#include "server/com.h"

namespace vex::server {

/// Registers the module, every class in table order and the type library. Returns the first failure.
HRESULT register_server() noexcept;

/// Unregisters every class, the type library and the module. Goes on after a failure, so that as little as possible is
/// left behind, and returns the first.
HRESULT unregister_server() noexcept;

}  // namespace vex::server
