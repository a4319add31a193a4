#include "sdk/base/debugger.h"

#include <exception>
#include <fstream>
#include <string>

namespace vex {

bool is_debugger_attached() noexcept
{
    try {
        // "TracerPid:	0" when there is none (proc(5)); systems without the file do not tell
        std::ifstream status("/proc/self/status");
        std::string name;
        while (status >> name) {
            if (name == "TracerPid:") {
                int tracer = 0;
                return status >> tracer && tracer != 0;
            }
        }
    } catch (const std::exception&) {
        // not enough memory
    }
    return false;
}

}  // namespace vex
