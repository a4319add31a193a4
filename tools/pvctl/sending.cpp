#include "tools/pvctl/sending.h"

#include <string>

#include "sdk/genicam/PvGenParameterArray.h"
#include "tools/pvctl/failure.h"

namespace pvctl {

Sending::Sending(PvDevice& device, const PvStreamRaw& stream) : device_(device), features_(*device.GetGenParameters())
{
    require(device.SetStreamDestination(stream.GetLocalIPAddress(), stream.GetLocalPort(), 0));
    lock(true);
    require(features_.ExecuteCommand("AcquisitionStart"));
}

Sending::~Sending()
{
    static_cast<void>(features_.ExecuteCommand("AcquisitionStop"));
    lock(false);
    static_cast<void>(device_.ResetStreamDestination(0));
}

void Sending::lock(bool locked)
{
    if (features_.GetInteger("TLParamsLocked") != nullptr) {
        static_cast<void>(features_.SetIntegerValue("TLParamsLocked", locked ? 1 : 0));
    }
}

Json statistics_of(const PvStatistics& from)
{
    return {{"blocks", from.GetBlocksCount()},
            {"images", from.GetImagesCount()},
            {"bytes", from.GetBytesCount()},
            {"errors", from.GetErrorCount()},
            {"last_error", std::string(from.GetLastError().description())},
            {"blocks_dropped", from.GetBlocksDroppedCount()},
            {"pipeline_blocks_dropped", from.GetPipelineBlocksDropped()},
            {"block_ids_missing", from.GetBlockIDsMissing()},
            {"lost_packets", from.GetLostPacketCount()},
            {"ignored_packets", from.GetIgnoredPacketCount()},
            {"packets_out_of_order", from.GetPacketOutOfOrder()},
            {"resend_requests", from.GetResendGroupRequested()},
            {"packets_requested", from.GetResendPacketRequested()},
            {"packets_recovered", from.GetExpectedResendCount()},
            {"packets_unavailable", from.GetPacketUnavaliable()}};
}

}  // namespace pvctl
