#include <memory>
#include <string>
#include <vector>

#include "bench/stream/load.h"
#include "bench/stream/ways.h"

#ifdef VEX_WITH_ARAVIS

#include <arv.h>

namespace bench {

namespace {

class Peer final : public Receiver {
public:
    explicit Peer(bool packet_socket)
    {
        GInetAddress* const here = g_inet_address_new_from_string(host.to_string().c_str());
        GInetAddress* const there = g_inet_address_new_from_string(camera.to_string().c_str());
        device_ = arv_gv_device_new(here, there, nullptr);
        g_object_unref(here);
        g_object_unref(there);
        if (device_ == nullptr) {
            fail("libaravis finds no camera");
        }
        ArvGvDevice* const device = ARV_GV_DEVICE(device_);
        arv_gv_device_set_packet_size_adjustment(device, ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
        arv_gv_device_set_stream_options(device, packet_socket ? ARV_GV_STREAM_OPTION_NONE
                                                               : ARV_GV_STREAM_OPTION_PACKET_SOCKET_DISABLED);
        stream_ = arv_device_create_stream(device_, nullptr, nullptr, nullptr);
        if (stream_ == nullptr) {
            fail("libaravis opens no stream");
        }
        g_object_set(stream_, "packet-resend", ARV_GV_STREAM_PACKET_RESEND_NEVER, "socket-buffer",
                     ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size", 16 << 20, nullptr);
        for (int i = 0; i < 8; ++i) {
            arv_stream_push_buffer(stream_, arv_buffer_new(image_bytes + 65536, nullptr));
        }
    }

    ~Peer() override
    {
        g_object_unref(stream_);
        g_object_unref(device_);
    }

    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    [[nodiscard]] std::uint16_t port() const override { return arv_gv_stream_get_port(ARV_GV_STREAM(stream_)); }
    [[nodiscard]] bool nothing_came() const override { return nothing_came_; }
    [[nodiscard]] std::uint64_t block_id() const override { return block_id_; }

    bool receive_block() override
    {
        ArvBuffer* const buffer = arv_stream_timeout_pop_buffer(stream_, 1'000'000);
        nothing_came_ = buffer == nullptr;
        if (nothing_came_) {
            return false;
        }
        const bool whole = arv_buffer_get_status(buffer) == ARV_BUFFER_STATUS_SUCCESS;
        block_id_ = arv_buffer_get_frame_id(buffer);
        arv_stream_push_buffer(stream_, buffer);
        return whole;
    }

private:
    ArvDevice* device_ = nullptr;
    ArvStream* stream_ = nullptr;
    bool nothing_came_ = false;
    std::uint64_t block_id_ = 0;
};

}  // namespace

std::vector<Way> peer_ways()
{
    std::vector<Way> ways{{"libaravis, ordinary socket", [] { return std::make_unique<Peer>(false); }}};
    if (has_packet_ring()) {
        ways.push_back({"libaravis, packet socket", [] { return std::make_unique<Peer>(true); }});
    }
    return ways;
}

}  // namespace bench

#else

namespace bench {

std::vector<Way> peer_ways() { return {}; }

}  // namespace bench

#endif
