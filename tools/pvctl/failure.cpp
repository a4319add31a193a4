#include "tools/pvctl/failure.h"

namespace pvctl {

void require(const PvResult& result)
{
    if (!result.IsOK()) {
        const bool missing = result.GetCode() == PvResult::NotFound;
        throw CommandFailure(std::string(result.description()), missing ? exit_code::not_found : exit_code::failed);
    }
}

}  // namespace pvctl
