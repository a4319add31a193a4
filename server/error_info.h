// Automation error information: how a member without a result object says why it failed.
#pragma once

#include <string_view>

#include "server/com.h"

namespace vex::server {

/// Sets the calling thread's error information: the description (UTF-8), the interface, and as source the program
/// identifier registered for the class, or `prog_id` where none is registered. Returns DISP_E_EXCEPTION.
HRESULT raise_error(std::string_view description, const IID& iid, const CLSID& clsid, const wchar_t* prog_id) noexcept;

}  // namespace vex::server
