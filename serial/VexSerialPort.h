// VexSerialPort: an open serial port, whatever wire is behind it.
#pragma once

#include "serial/serial_port_members.h"

/// A view: there is nothing behind it until a parent attaches a port, and no class of this library does. Ports that
/// clients open have classes of their own.
class CVexSerialPort : public SerialPortMembers<CVexSerialPort>, public vex::server::SdkObject<PvSerialPort> {};
