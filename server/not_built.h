// The one answer of members whose subsystem has not been built yet.
#pragma once

#include "server/com.h"

namespace vex::server {

/// Implements every member of Interface, inherited ones included, with not_built(), which Wrapper overrides to say in
/// whose name it answers E_NOTIMPL. A class derives from it while it is being built and overrides what is; a finished
/// class derives from the interface itself, so that the compiler sees a member that is missing. Specialised from the
/// interface definitions.
template <class Interface>
class NotBuilt;

}  // namespace vex::server
