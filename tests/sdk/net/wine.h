// Tells Wine from Windows, for the few tests that hold for the latter only.
#pragma once

#ifdef _WIN32
#include <windows.h>
#endif

inline bool under_wine()
{
#ifdef _WIN32
    const HMODULE module = ::GetModuleHandleW(L"ntdll.dll");
    return module != nullptr && ::GetProcAddress(module, "wine_get_version") != nullptr;
#else
    return false;
#endif
}

/// Wine binds a UDP socket to all addresses, whatever was asked, unless it was 127.0.0.1.
#define SKIP_WHERE_BINDING_IS_LOOSE()                                                                                  \
    if (under_wine())                                                                                                  \
    GTEST_SKIP() << "Wine binds to all addresses"
