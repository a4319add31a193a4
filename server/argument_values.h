// Numbers and texts of late-bound calls, in whatever type they come.
#pragma once

#include "server/com.h"

namespace vex::server {

/// Whether values of this type convert into each other: numbers, VT_BOOL, VT_DATE, VT_CY, VT_DECIMAL and VT_BSTR.
[[nodiscard]] bool is_plain(VARTYPE type) noexcept;

/// The one of two names of the same type that parameters have: VT_I4 for VT_INT, VT_UI4 for VT_UINT.
[[nodiscard]] constexpr VARTYPE plain_name(VARTYPE type) noexcept
{
    return type == VT_INT ? VARTYPE{VT_I4} : type == VT_UINT ? VARTYPE{VT_UI4} : type;
}

/// VariantChangeType, exact for whole numbers: a value outside the range of `type` is DISP_E_OVERFLOW, also where the
/// two types have the same width, and fractions are rounded, halves to even. `to` is empty before; a text that it
/// receives is the caller's to free. `from` may be a reference.
HRESULT change_type(VARIANT& to, const VARIANT& from, VARTYPE type) noexcept;

/// Moves a plain value into the variable that `place`, a VT_BYREF of the same type, points to. A text that the variable
/// held is freed.
void move_into(const VARIANT& place, VARIANT& value) noexcept;

}  // namespace vex::server
