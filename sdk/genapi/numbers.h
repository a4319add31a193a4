// Numbers as descriptions write them, and as users read them: the ways of the whole SDK.
#pragma once

#include "sdk/base/numbers.h"

namespace GenApi {

using vex::parse_float;
using vex::parse_hex_identifier;
using vex::parse_integer;
using vex::rounded_to_integer;
using vex::to_hex_text;
using vex::to_text;
using vex::trimmed;
using vex::truncated_to_integer;

}  // namespace GenApi
