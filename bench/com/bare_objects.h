// What the frame is measured against: dual objects written by hand, with nothing but what COM asks of them. They call
// ITypeInfo::Invoke directly and hold the same SDK values.
#pragma once

#include "server/ref.h"
#include "server/type_library.h"

namespace bench {

/// The class factory of a bare VexResult: IVexResult and nothing else.
[[nodiscard]] vex::server::Ref<IClassFactory> bare_result_factory();

/// A bare device whose ReadRegister gives a number and a bare result object.
[[nodiscard]] vex::server::Ref<IVexDevice> make_bare_device();

/// A bare integer parameter whose Value is a constant.
[[nodiscard]] vex::server::Ref<IVexGenInteger> make_bare_integer();

/// A bare parameter array whose GetIntegerValue gives a constant and a bare result object, whatever the name.
[[nodiscard]] vex::server::Ref<IVexGenParameterArray> make_bare_parameters();

}  // namespace bench
