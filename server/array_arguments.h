// Script arrays where a member wants bytes: VBScript has arrays of variants, JScript has objects that look like arrays.
#pragma once

#include "server/com.h"

namespace server {

/// A new array of bytes with the dimensions and bounds of `elements`, which is an array of variants (or a reference to
/// one) or an array-like object. S_FALSE and no array for an object that is not array-like; DISP_E_TYPEMISMATCH or
/// DISP_E_OVERFLOW for an element that is no byte.
HRESULT elements_to_bytes(VARIANT& elements, SAFEARRAY** bytes) noexcept;

/// Writes bytes back into the elements they came from; as many as both have.
void fill_elements(SAFEARRAY* bytes, VARIANT& elements) noexcept;

}  // namespace server
