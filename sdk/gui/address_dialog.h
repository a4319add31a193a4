// A dialog that gives a device another address.
#pragma once

#include <memory>
#include <string>

#include "sdk/gui/PvWnd.h"

namespace vex::gui {

/// Texts as the user reads and writes them.
struct AddressSettings {
    std::string mac;  ///< of the device; not to be changed
    std::string address;
    std::string mask;
    std::string gateway;
};

/// Begins with a proposal. OK sets the address, which takes up to two seconds on a thread of its own, and closes the
/// dialog when the device has it; otherwise it says why not, and what was typed stays. ShowModal is OK when it was set.
class AddressDialog : public PvWnd {
public:
    explicit AddressDialog(AddressSettings proposal);
};

}  // namespace vex::gui
