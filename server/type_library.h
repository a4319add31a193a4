// The interfaces, enumerations and identifiers of the type library, as declared by the header widl writes.
#pragma once

#include "server/com.h"

#include "VexKamCOMWrapper_h.h"
