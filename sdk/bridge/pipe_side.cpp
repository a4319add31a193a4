#include "sdk/bridge/pipe_side.h"

#include <system_error>

#include "sdk/base/failure.h"

namespace vex::bridge {

PvResult PipeSide::open(const PvString& name, std::unique_ptr<HostSide>& made, PvString& served)
{
    const auto parsed = net::PipeName::parse(name.view());
    if (!parsed) {
        return failure(PvResult::InvalidParameter, "'", name.view(),
                       "' cannot be the name of a bridge: names are 1 to 64 letters, digits and '._-', or tcp:PORT");
    }
    try {
        auto server = net::PipeServer::serve(*parsed);
        served = parsed->tcp && parsed->tcp->port == 0 ? PvString(server->name().to_string()) : name;
        made = std::make_unique<PipeSide>(std::move(server));
        return PvResult::OK;
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::address_in_use) {
            return failure(PvResult::StateError, "The name ", name.view(), " is in use by another bridge or program");
        }
        return failure(PvResult::GenericError, "The name ", name.view(), " cannot be served: ", error.code().message());
    }
}

}  // namespace vex::bridge
