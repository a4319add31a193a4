#include "serial/VexIPEngineI2CBus.h"

#include <new>
#include <utility>

#include "sdk/serial/released_buses.h"

void CVexIPEngineI2CBus::final_construct()
{
    try {
        bus_ = std::make_unique<PvIPEngineI2CBus>();
    } catch (const std::bad_alloc&) {
        // an object with nothing behind it, as other classes make
    }
    AttachSdkObject(bus_.get(), vex::server::Lifetime());
}

void CVexIPEngineI2CBus::final_release() noexcept
{
    AttachSdkObject(nullptr, vex::server::Lifetime());
    vex::serial::ReleasedBuses::keep(std::move(bus_));
}
