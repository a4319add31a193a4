// A dialog that sets one bridge.
#pragma once

#include <functional>
#include <string>

#include "sdk/bridge_manager/settings.h"
#include "sdk/gui/PvWnd.h"

namespace vex::gui {

/// Begins with the settings that the bridge has. OK hands the new ones over and closes the dialog when they were taken;
/// otherwise it says why not, and what was typed stays. ShowModal is OK when they were taken.
class BridgeDialog : public PvWnd {
public:
    /// Called on the window's thread.
    using Apply = std::function<PvResult(const bridge_manager::Settings&)>;

    BridgeDialog(const std::string& port, const bridge_manager::Settings& settings, Apply apply);
};

}  // namespace vex::gui
