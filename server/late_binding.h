// Late-bound calls: what script hosts pass, made into what the members' types want.
//
// ITypeInfo::Invoke rejects a script's variable (VT_BYREF|VT_VARIANT) where a typed pointer is wanted, so a script
// could call no member with an out-parameter besides the return value. The arguments concerned are replaced by typed
// temporaries; all others pass untouched.
#pragma once

#include "server/com.h"
#include "server/type_info.h"

namespace vex::server {

/// IDispatch::Invoke on `object`, the interface that `info` describes. Temporaries are copied back to the caller's
/// variables when the member succeeded. An argument that cannot be converted is reported as IDispatch defines
/// (DISP_E_TYPEMISMATCH or DISP_E_OVERFLOW, its index in `bad_argument`).
HRESULT invoke(const TypeInfo& info, void* object, DISPID id, WORD flags, DISPPARAMS* parameters, VARIANT* result,
               EXCEPINFO* exception, UINT* bad_argument) noexcept;

}  // namespace vex::server
