// PvDeviceFinderWnd: a dialog in which the user chooses a device.
#pragma once

#include <memory>

#include "sdk/gui/PvWnd.h"

class PvDeviceInfo;

namespace vex::gui {
class FinderContent;
}  // namespace vex::gui

/// Lists the devices on all interfaces, and searches as long as it is shown. The user chooses with a double click or
/// OK, which closes it; ShowModal is Cancel when it is left otherwise, and nothing is chosen then.
///
/// Thread safety: as PvWnd.
class PvDeviceFinderWnd : public PvWnd {
public:
    PvDeviceFinderWnd();
    /// Waits for a search that is under way, at most a second and a half.
    ~PvDeviceFinderWnd() override;

    /// The device chosen last; null before, and after the dialog was left without a choice. It belongs to this object,
    /// and is good until another one is chosen or the object goes; whoever keeps it for longer takes a share in it.
    [[nodiscard]] PvDeviceInfo* GetSelected();

protected:
    /// Asked on the window's thread about each device that is found, again when what it says of itself has changed, and
    /// about all when the user refreshes: false leaves it out of the list. The dialog may be closed or destroyed from
    /// here. The object is good until this returns.
    virtual bool OnFound(PvDeviceInfo* aDeviceInfo);

private:
    friend class vex::gui::FinderContent;

    explicit PvDeviceFinderWnd(std::shared_ptr<vex::gui::FinderContent> content);

    const std::shared_ptr<vex::gui::FinderContent> content_;
};
