// PvGenParameterArrayCL: the parameters of a Camera Link camera, which is reached through a serial port.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/lists/PvStringList.h"

/// The features of a camera that speaks GenCP on a serial line. Build makes them from a description, Connect binds them
/// to the camera, in either order; without a connection features tell what is known without one, and accesses fail with
/// NotConnected.
///
/// Ports: a serial port of this computer by the system's name (COM3, \\.\COM12, /dev/ttyS0), or what another program
/// serves, as a bridge does: pipe:NAME, tcp:PORT, tcp:ADDRESS:PORT. Such a line's rate is not set from here; what is
/// given as the rate, or the slowest one of the template, tells how long its bytes take. Devices:
/// TEMPLATE[:BAUD[:MANUFACTURER[:MODEL[:SERIAL]]]], as ProbeDevice and GetDeviceID give it; what is left out is left
/// open, so that "GenCP" means whatever device is there, and the empty text, too. Descriptions: "Device", the best one
/// in the camera's own memory, "Device:0" and so on for the entries of its manifest, or the name of a file, plain or
/// zipped, in the user's folder.
///
/// The user's folder is named by the environment variable VEX_CAMERALINK_FOLDER, and is otherwise
/// VexKamCOMWrapper/CameraLink in the place for the user's data. It holds descriptions (*.xml, *.zip) and templates
/// (*.template), which tell of a class of devices and how to speak with it.
///
/// Thread safety: as PvGenParameterArray. Build must not be called while another thread uses the array, except behind
/// its gate.
class PvGenParameterArrayCL : public PvGenParameterArray {
public:
    /// Of the serial time-out, milliseconds.
    static constexpr std::uint32_t default_timeout = 1000;
    static constexpr std::uint32_t shortest_timeout = 10;
    static constexpr std::uint32_t longest_timeout = 60'000;

    PvGenParameterArrayCL();
    /// Ends the connection.
    ~PvGenParameterArrayCL() override;

    /// The device of the last connection that was made, all parts told; empty without one.
    [[nodiscard]] PvString GetDeviceID() const;
    /// Its port, as it was given to Connect.
    [[nodiscard]] PvString GetPortID() const;
    /// The description that the features were built from, as it was given to Build; empty before.
    [[nodiscard]] PvString GetXMLID() const;

    /// Replaces the list by the names of the templates that there are: "GenCP", then those of the user's folder.
    static void GetDeviceTemplates(PvStringList& aTemplates);

    /// Makes the features from a description. Parameters handed out before are gone. After a failure all is as it was.
    /// NotConnected for the camera's own description without a connection, NotFound, CannotOpenFile, GenICamXMLError,
    /// and what reading the camera reports.
    PvResult Build(const PvString& aXMLID);

    /// Opens the port, finds the device, at the rate that is given or as ProbeDevice does with the serial time-out, and
    /// takes control of it. A connection that the array has is ended first.
    /// InvalidParameter for texts that are no port or device, NotFound when no such device answers, StateError when
    /// somebody else has the port, NotSupported for a line that cannot be what the template wants, and what the device
    /// reports.
    PvResult Connect(const PvString& aPortID, const PvString& aDeviceID);
    /// Gives control of the device back and closes the port. The features stay, and accesses fail with NotConnected, as
    /// those that are under way on other threads may. OK without a connection, too.
    PvResult Disconnect();

    /// The time that the device has for the answer to each message, in milliseconds; what the line needs to carry the
    /// message is not counted. Unanswered messages are sent again, three times.
    PvResult GetSerialTimeout(std::uint32_t& aTimeout) const;
    /// shortest_timeout to longest_timeout; InvalidParameter otherwise. From the next message on.
    PvResult SetSerialTimeout(std::uint32_t aTimeout);

    /// Replaces the list by the identifiers that Build takes at present: those of the connected camera and the files of
    /// the user's folder. When the camera's manifest cannot be read, the latter, and why.
    PvResult GetXMLIDs(PvStringList& aXMLIDs);

    /// Finds out which device is on a port and gives the text that Connect takes; an empty one when none answers, the
    /// port cannot be opened or is in use, or there is no such template (empty: "GenCP"). The line is left as it was.
    /// Tries each baud rate of the template for twice the time-out in milliseconds (0: a quarter of a second; otherwise
    /// the limits of SetSerialTimeout hold) and for as long as the line needs for the bytes.
    [[nodiscard]] static PvString ProbeDevice(const PvString& aPortID, const PvString& aDeviceTemplate,
                                              std::uint32_t aSerialTimeout);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
