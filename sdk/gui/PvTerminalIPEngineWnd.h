// PvTerminalIPEngineWnd: a terminal on a serial port of a device.
#pragma once

#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/control/PvTypes.h"
#include "sdk/gui/PvWnd.h"

class PvDevice;

namespace vex::gui {
class TerminalContent;
}  // namespace vex::gui

/// Shows what a serial port of a device receives, and sends what the user types: in the output character by character,
/// in the line below it with an end that the user chooses. It has the port from SetDevice on, shown or not, until it is
/// given another device or destroyed. A device that is lost and comes back is gone on with.
///
/// Thread safety: as PvWnd.
class PvTerminalIPEngineWnd : public PvWnd {
public:
    PvTerminalIPEngineWnd();
    ~PvTerminalIPEngineWnd() override;

    /// Opens the chosen port of a device that is connected with control, and closes the one before; null only closes.
    /// Fails as PvSerialPortIPEngine::Open: then the device is kept, and another port can be chosen. The device may be
    /// destroyed first.
    PvResult SetDevice(PvDevice* aDevice);
    /// Serial0 at first. With a device the port is opened at once; fails as SetDevice, and with InvalidParameter for
    /// what is no port, which changes nothing.
    PvResult SetSerialPort(PvIPEngineSerial aPort);
    [[nodiscard]] PvIPEngineSerial GetSerialPort() const;

private:
    explicit PvTerminalIPEngineWnd(std::shared_ptr<vex::gui::TerminalContent> content);

    const std::shared_ptr<vex::gui::TerminalContent> content_;
};
