// What a benchmark under Windows has used of the processors.
#pragma once

#include <cstdint>

#include <windows.h>

namespace bench {

/// Of this process, all threads, in its programs and in the system.
inline double processor_seconds()
{
    FILETIME created{};
    FILETIME exited{};
    FILETIME kernel{};
    FILETIME user{};
    GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user);
    const auto seconds = [](const FILETIME& time) {
        return static_cast<double>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) / 1e7;
    };
    return seconds(kernel) + seconds(user);
}

}  // namespace bench
