// Automation error information: how a member says why it failed.
#pragma once

#include <string_view>

#include "server/com.h"

namespace vex::server {

/// The class in whose name a failure is described.
struct ErrorSource {
    const IID& iid;          // its default interface
    const CLSID& clsid;      // whose registered program identifier is the source
    const wchar_t* prog_id;  // the source where none is registered
};

/// Sets the calling thread's error information: the description (UTF-8; the failure's own text when empty), the
/// interface and the source. Returns `failure`.
HRESULT raise_error(HRESULT failure, std::string_view description, const ErrorSource& source) noexcept;

/// The same for the exception being handled, by the rules of hresult_of_exception. Call from a catch block only.
HRESULT raise_exception(const ErrorSource& source) noexcept;

}  // namespace vex::server
