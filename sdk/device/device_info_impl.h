// What stands behind a PvDeviceInfo.
#pragma once

#include "sdk/device/PvDeviceInfo.h"
#include "sdk/net/interfaces.h"
#include "sdk/wire/gvcp.h"

class PvDeviceInfo::Impl {
public:
    PvInterface* owner = nullptr;
    vex::net::Interface host;
    vex::wire::gvcp::DiscoveryAcknowledge facts;
    PvAccessType access = PvAccessUnknown;
};
