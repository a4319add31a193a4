// The seven kinds of parameter objects, chosen by the SDK parameter's own class.
#pragma once

#include "sdk/genicam/PvGenParameter.h"
#include "server/ref.h"
#include "server/type_library.h"

/// Makes a parameter object for an SDK parameter, attached to it and listening to its changes. Null for a null
/// parameter and for one of none of the seven kinds. Throws when no object can be made.
[[nodiscard]] vex::server::Ref<IVexGenParameter> make_parameter(PvGenParameter* parameter);

/// Points a parameter object of this library at another SDK parameter of the same kind. False, and nothing is changed,
/// when the kinds differ or either is null.
bool rebind_parameter(IVexGenParameter* object, PvGenParameter* parameter) noexcept;

/// The SDK parameter behind one of the seven kinds of objects; null for any other object, and when it has gone.
[[nodiscard]] PvGenParameter* sdk_parameter_of(IVexGenParameter* object) noexcept;
