// What stands behind a PvDeviceInfo.
#pragma once

#include <memory>

#include "sdk/device/PvDeviceInfo.h"
#include "sdk/net/interfaces.h"
#include "sdk/wire/gvcp.h"

class PvDeviceInfo::Impl {
public:
    std::weak_ptr<PvDeviceInfo> self;
    std::weak_ptr<PvInterface> owner;
    vex::net::Interface host;
    vex::wire::gvcp::DiscoveryAcknowledge facts;
    PvAccessType access = PvAccessUnknown;
};
