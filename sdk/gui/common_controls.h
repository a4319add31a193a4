// The system's common controls, version 6, whatever the program has asked for.
#pragma once

#include "sdk/gui/win32.h"

namespace vex::gui {

/// While it lives, windows made on this thread have the controls of version 6, as far as the module that this code is
/// in carries a manifest that asks for them (resource 2); otherwise those of the program.
class CommonControls {
public:
    CommonControls() noexcept;
    CommonControls(const CommonControls&) = delete;
    CommonControls& operator=(const CommonControls&) = delete;
    ~CommonControls();

private:
    ULONG_PTR cookie_ = 0;
};

}  // namespace vex::gui
