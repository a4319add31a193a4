#include "sdk/serial/released_buses.h"

#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "sdk/serial/PvIPEngineI2CBus.h"

namespace vex::serial {

namespace {

struct Kept {
    std::mutex mutex;
    std::vector<std::unique_ptr<PvIPEngineI2CBus>> buses;
};

/// Never destroyed: closing them at the end of the process would talk to devices that may have gone.
Kept& kept()
{
    static Kept& all = *new Kept;
    return all;
}

}  // namespace

void ReleasedBuses::keep(std::unique_ptr<PvIPEngineI2CBus> bus) noexcept
{
    if (!bus || !bus->IsClaimed()) {
        return;
    }
    try {
        bus->NoteRelease();
        Kept& all = kept();
        const std::lock_guard lock(all.mutex);
        all.buses.push_back(std::move(bus));
    } catch (const std::bad_alloc&) {
        // closed, by its destruction
    }
}

std::size_t ReleasedBuses::count() noexcept
{
    Kept& all = kept();
    const std::lock_guard lock(all.mutex);
    return all.buses.size();
}

}  // namespace vex::serial
