// PvSerialBridgeManagerWnd: the bridges from the serial ports of a device to this computer.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/gui/PvWnd.h"

class PvDevice;
class PvGenParameterArray;
class PvPropertyList;
class PvStringList;

namespace vex::gui {
class BridgeManagerContent;
}  // namespace vex::gui

/// Has a row for each serial port of a device, with a bridge (PvSerialBridge) that the user sets, starts and stops, and
/// where the user wants them the parameters of the Camera Link camera behind it (PvGenParameterArrayCL). Bridges run
/// also while no window is shown. What the user does goes on on a thread of the SDK; the members wait for that, and
/// return when their own work is done. Two managers may have one device: each port is one's at a time.
///
/// Indexes are those of the ports, from 0.
///
/// Thread safety: as PvWnd.
class PvSerialBridgeManagerWnd : public PvWnd {
public:
    PvSerialBridgeManagerWnd();
    /// Ends all bridges, without telling of the parameters that go. A class that wants to be told calls SetDevice with
    /// null in its own destructor.
    ~PvSerialBridgeManagerWnd() override;

    /// Ends all bridges, and shows the ports of a device that is connected; null only ends them. NotConnected: there
    /// are no ports then. The device may be destroyed first, though not while a bridge is being started.
    PvResult SetDevice(PvDevice* aDevice);
    /// 0 before SetDevice.
    [[nodiscard]] std::uint32_t GetPortCount() const;
    /// "Serial0" and so on, as descriptions have it; empty past the last one.
    [[nodiscard]] PvString GetPortName(std::uint32_t aIndex) const;
    /// Null for a port that has none. It belongs to this object, and is good until it was told that it goes.
    [[nodiscard]] PvGenParameterArray* GetGenParameterArray(std::uint32_t aIndex);
    /// "Serial1: MODEL"; empty for a port that has none.
    [[nodiscard]] PvString GetGenParameterArrayName(std::uint32_t aIndex) const;

    /// Stores how the bridges are set and which of them run. Properties that the list has already get the new values,
    /// others are added (docs/windows.md has their names).
    PvResult Save(PvPropertyList& aPropertyList);
    /// Sets, starts and stops bridges as the list says; what it does not tell stays. `aErrors` is cleared, and has then
    /// a line for everything that could not be done; the rest is done. The first of these is the result: StateError
    /// without a device or for a port that somebody has, NotFound for one that the device does not have,
    /// InvalidParameter for a value that is none, and what starting a bridge and reading its camera report.
    PvResult Load(const PvPropertyList& aPropertyList, PvStringList& aErrors);
    /// Recovers all bridges that run (PvSerialBridge::Recover), and connects their parameters again, or makes those
    /// that could not be made. The first result that fails; StateError without a device.
    PvResult Recover();

protected:
    /// Parameters were made for a bridge: by Load and Recover, or on the window's thread because the user started it.
    /// What the user has begun and closed the window upon is told by the next of these members, or when the window is
    /// shown again. Any member may be called from here, and the object destroyed.
    virtual void OnParameterArrayCreated(PvGenParameterArray* aArray, const PvString& aName);
    /// Parameters are about to go; they can still be used, until this returns. Likewise, and by SetDevice.
    virtual void OnParameterArrayDeleted(PvGenParameterArray* aArray);

private:
    friend class vex::gui::BridgeManagerContent;

    explicit PvSerialBridgeManagerWnd(std::shared_ptr<vex::gui::BridgeManagerContent> content);

    const std::shared_ptr<vex::gui::BridgeManagerContent> content_;
};
