// Script arrays where a member wants a typed one: VBScript has arrays of variants, JScript has objects that look like
// arrays.
#pragma once

#include "server/com.h"

namespace vex::server {

/// A new array of `type` with the dimensions and bounds of `elements`, which is an array (or a reference to one) of
/// elements that convert, or an array-like object where bytes are wanted. No array for an array that was never
/// dimensioned. S_FALSE and no array for an object that is not array-like; DISP_E_TYPEMISMATCH or DISP_E_OVERFLOW for
/// an element that does not convert.
HRESULT elements_to_array(VARIANT& elements, VARTYPE type, SAFEARRAY** array) noexcept;

/// Writes an array back into the elements it came from; as many as both have.
void fill_elements(SAFEARRAY* array, VARIANT& elements) noexcept;

}  // namespace vex::server
