// PvPayloadType: what kind of data a block carries.
#pragma once

#include <cstdint>

/// Payload types of the streaming protocol. Values from DeviceSpecificBase on belong to the device's maker.
enum PvPayloadType : std::int32_t {
    PvPayloadTypeUndefined = -1,
    PvPayloadTypeImage = 1,
    PvPayloadTypeRawData = 2,
    PvPayloadTypeFile = 3,
    PvPayloadTypeChunkData = 4,
    PvPayloadTypeExtendedChunkData = 5,
    PvPayloadTypeDeviceSpecificBase = 0x8000,
};

static_assert(sizeof(PvPayloadType) == 4);
