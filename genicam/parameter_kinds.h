// The seven kinds of parameter objects, chosen by the SDK parameter's own class.
#pragma once

#include "sdk/genicam/PvGenParameter.h"
#include "server/ref.h"
#include "server/type_library.h"

/// Makes a parameter object for an SDK parameter, attached to it and listening to its changes. Null, and S_OK, for a
/// null parameter and for one of none of the seven kinds.
HRESULT make_parameter(PvGenParameter* parameter, vex::server::Ref<IVexGenParameter>& object) noexcept;

/// Points a parameter object of this library at another SDK parameter of the same kind. False, and nothing is changed,
/// when the kinds differ or either is null.
bool rebind_parameter(IVexGenParameter* object, PvGenParameter* parameter) noexcept;

/// The SDK parameter behind one of the seven kinds of objects; null for any other object.
[[nodiscard]] PvGenParameter* sdk_parameter_of(IVexGenParameter* object) noexcept;
