// The system's COM and automation declarations.
#pragma once

#include <windows.h>

#include <ole2.h>

#include <oleauto.h>

#include <ocidl.h>
#include <olectl.h>

// An interface has no virtual destructor, by the binary standard: an object is destroyed by its last Release, never
// through an interface pointer. The warning says nothing of use about code built on interfaces.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
