// The system's COM and automation declarations.
#pragma once

#include <windows.h>

#include <ole2.h>

#include <oleauto.h>

#include <ocidl.h>
#include <olectl.h>
