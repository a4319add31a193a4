// Late-bound calls: what scripts and typed variables pass, made into what the members' types want.
//
// ITypeInfo::Invoke rejects a script's variable (VT_BYREF|VT_VARIANT) and a variable of another type (VT_BYREF|VT_I4
// for a 64-bit output) where a typed pointer is wanted, so a script could call no member with an out-parameter besides
// the return value, and languages without unsigned types no member with an unsigned one. Such arguments are replaced by
// typed temporaries. Numbers by value are converted here too, because not every system's own conversion refuses what
// does not fit. All other arguments pass untouched.
#pragma once

#include "server/com.h"
#include "server/type_info.h"

namespace vex::server {

/// IDispatch::Invoke on `object`, the interface that `info` describes. When the member succeeded, what it wrote goes to
/// the caller's variables, in the type of each; a script's variable takes the member's type. An argument that cannot be
/// converted, or a variable whose type cannot hold what the member wrote, is reported as IDispatch defines
/// (DISP_E_TYPEMISMATCH or DISP_E_OVERFLOW, its index in `bad_argument`): no variable is changed then, although in the
/// second case the member has been called.
HRESULT invoke(const TypeInfo& info, void* object, DISPID id, WORD flags, DISPPARAMS* parameters, VARIANT* result,
               EXCEPINFO* exception, UINT* bad_argument) noexcept;

}  // namespace vex::server
