// Enumerations of the device classes; the values are part of the binary contract with clients, never renumber.
#pragma once

#include <cstdint>

/// A privilege on a device's control channel: one that an application asks for, or the one that is held at the moment.
enum PvAccessType : std::int32_t {
    PvAccessUnknown = -1,   ///< status only: the device did not tell
    PvAccessOpen = 0,       ///< no privilege; as a status, nobody controls the device
    PvAccessControl = 1,    ///< the right to write; others may still read
    PvAccessReadOnly = 2,   ///< no privilege, and this side refuses to write
    PvAccessExclusive = 3,  ///< the right to write; others may not even read
};

enum PvInterfaceType : std::int32_t {
    PvInterfaceNetworkStack = 0,  ///< a network interface driven through the operating system's sockets
    PvInterfaceEBus = 1,          ///< a network interface with a driver of its own; this SDK has none
};

/// What a device does with streams, as it says in its device mode register.
enum PvDeviceClass : std::int32_t {
    PvDeviceClassUnknown = -1,
    PvDeviceClassTransmitter = 0,
    PvDeviceClassReceiver = 1,
    PvDeviceClassTransceiver = 2,
    PvDeviceClassPeripheral = 3,
};

/// A serial port of a device.
enum PvIPEngineSerial : std::int32_t {
    PvIPEngineSerialInvalid = -1,
    PvIPEngineSerial0 = 0,
    PvIPEngineSerial1 = 1,
    PvIPEngineSerialBulk0 = 2,
    PvIPEngineSerialBulk1 = 3,
    PvIPEngineSerialBulk2 = 4,
    PvIPEngineSerialBulk3 = 5,
    PvIPEngineSerialBulk4 = 6,
    PvIPEngineSerialBulk5 = 7,
    PvIPEngineSerialBulk6 = 8,
    PvIPEngineSerialBulk7 = 9,
};

static_assert(sizeof(PvAccessType) == 4);
static_assert(sizeof(PvInterfaceType) == 4);
static_assert(sizeof(PvDeviceClass) == 4);
static_assert(sizeof(PvIPEngineSerial) == 4);
