// What stands behind a PvDeviceInfo.
#pragma once

#include "sdk/device/PvDeviceInfo.h"
#include "sdk/net/interfaces.h"
#include "sdk/wire/gvcp.h"

class PvDeviceInfo::Impl {
public:
    PvInterface* owner = nullptr;
    net::Interface host;
    wire::gvcp::DiscoveryAcknowledge facts;
    PvAccessType access = PvAccessUnknown;
};
