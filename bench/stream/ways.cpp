#include "bench/stream/ways.h"

#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstring>
#include <optional>
#include <span>

#include "bench/stream/load.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/receive_backends.h"
#include "sdk/net/udp_socket.h"
#include "sdk/stream_core/PvStreamBase.h"
#include "sdk/stream_core/stream_channel.h"
#include "sdk/wire/gvsp.h"

using namespace vex;

#ifndef UDP_GRO
#define UDP_GRO 104
#endif

namespace bench {

namespace {

using namespace std::chrono_literals;

/// Counts datagrams until a trailer; looks at nothing but their format.
class Loop : public Receiver {
public:
    [[nodiscard]] std::uint16_t port() const override { return socket_.local().port; }
    [[nodiscard]] bool nothing_came() const override { return nothing_came_; }
    [[nodiscard]] std::uint64_t block_id() const override { return block_id_; }

protected:
    /// Whether it ended a block.
    bool count(const std::uint8_t* datagram, std::size_t size)
    {
        if (datagram[4] == 3) {
            bytes_ += size - wire::gvsp::standard_header_size;
        }
        block_id_ = static_cast<std::uint64_t>(datagram[2] << 8 | datagram[3]);
        return datagram[4] == 2;
    }
    bool end_block()
    {
        const bool whole = bytes_ >= image_bytes;
        bytes_ = 0;
        return whole;
    }

    net::UdpSocket socket_ = net::UdpSocket::open({host, 0}, {.receive_buffer_bytes = 16 << 20});
    bool nothing_came_ = false;

private:
    std::size_t bytes_ = 0;
    std::uint64_t block_id_ = 0;
};

class BareLoop final : public Loop {
public:
    explicit BareLoop(bool coalescing) : slot_(coalescing ? 65536 : 9216), memory_(slots * slot_)
    {
        const int on = 1;
        const timeval second{1, 0};
        if ((coalescing && ::setsockopt(descriptor(), IPPROTO_UDP, UDP_GRO, &on, sizeof on) != 0) ||
            ::setsockopt(descriptor(), SOL_SOCKET, SO_RCVTIMEO, &second, sizeof second) != 0) {
            fail("socket options");
        }
    }

    bool receive_block() override
    {
        for (;;) {
            if (next_ == filled_ && !refill()) {
                return false;
            }
            for (; next_ < filled_; ++next_) {
                if (count_slot(next_)) {
                    ++next_;
                    return end_block();
                }
            }
        }
    }

private:
    static constexpr std::size_t slots = 64;

    [[nodiscard]] int descriptor() const { return static_cast<int>(socket_.handle()); }

    bool refill()
    {
        for (std::size_t i = 0; i < slots; ++i) {
            parts_[i] = {memory_.data() + i * slot_, slot_};
            messages_[i].msg_hdr = {};
            messages_[i].msg_hdr.msg_iov = &parts_[i];
            messages_[i].msg_hdr.msg_iovlen = 1;
            messages_[i].msg_hdr.msg_control = controls_[i].data();
            messages_[i].msg_hdr.msg_controllen = controls_[i].size();
        }
        const int count = ::recvmmsg(descriptor(), messages_.data(), slots, MSG_WAITFORONE, nullptr);
        next_ = 0;
        filled_ = count > 0 ? static_cast<std::size_t>(count) : 0;
        nothing_came_ = filled_ == 0;
        return !nothing_came_;
    }

    bool count_slot(std::size_t slot)
    {
        const std::size_t size = messages_[slot].msg_len;
        std::size_t segment = size;
        const cmsghdr* control = CMSG_FIRSTHDR(&messages_[slot].msg_hdr);
        if (control != nullptr && control->cmsg_level == IPPROTO_UDP && control->cmsg_type == UDP_GRO) {
            int value = 0;
            std::memcpy(&value, CMSG_DATA(control), sizeof value);
            segment = static_cast<std::size_t>(value);
        }
        bool ended = false;
        for (std::size_t at = 0; at < size; at += segment) {
            ended = count(memory_.data() + slot * slot_ + at, std::min(segment, size - at)) || ended;
        }
        return ended;
    }

    std::size_t slot_;
    std::vector<std::uint8_t> memory_;
    std::array<mmsghdr, slots> messages_{};
    std::array<iovec, slots> parts_{};
    alignas(cmsghdr) std::array<std::array<char, CMSG_SPACE(sizeof(int))>, slots> controls_{};
    std::size_t next_ = 0;
    std::size_t filled_ = 0;
};

class PacketLoop final : public Loop {
public:
    explicit PacketLoop(const std::string& backend)
        : receiver_(net::create_receiver({.socket = socket_, .path = {camera, host}}, backend))
    {}

    bool receive_block() override
    {
        for (;;) {
            while (next_ < batch_.size()) {
                const net::Datagram& datagram = batch_[next_++];
                if (count(datagram.data.data(), datagram.data.size())) {
                    return end_block();
                }
            }
            batch_ = receiver_->receive(1000ms);
            next_ = 0;
            nothing_came_ = batch_.empty();
            if (nothing_came_) {
                return false;
            }
        }
    }

private:
    std::unique_ptr<net::PacketReceiver> receiver_;
    std::span<const net::Datagram> batch_;
    std::size_t next_ = 0;
};

/// Stands before the system's own backends and is one of them.
class OnlyBackend final : public net::ReceiveBackend {
public:
    explicit OnlyBackend(const std::string& name)
    {
        for (const net::SharedBackend& backend : net::receive_backends()) {
            if (backend->name() == name) {
                backend_ = backend;
            }
        }
    }
    [[nodiscard]] std::string_view name() const noexcept override { return "measured"; }
    [[nodiscard]] bool privileged() const noexcept override { return backend_->privileged(); }
    [[nodiscard]] bool serves(const net::ReceivePath& path) const noexcept override { return backend_->serves(path); }
    [[nodiscard]] std::unique_ptr<net::PacketReceiver> create(const net::ReceiverOptions& options) const override
    {
        return backend_->create(options);
    }

private:
    net::SharedBackend backend_;
};

class Stream : public PvStreamBase {
public:
    [[nodiscard]] std::uint64_t dropped() { return channel().system_facts().dropped.value_or(0); }
};

class StreamReceiver final : public Receiver {
public:
    StreamReceiver(const std::string& backend, std::size_t buffers) : buffers_(buffers)
    {
        const net::AddedBackend first(std::make_shared<OnlyBackend>(backend));
        if (!stream_.Open(camera.to_string(), 0, 0, host.to_string()).IsOK()) {
            fail("open");
        }
        for (PvBuffer& buffer : buffers_) {
            buffer.Alloc(static_cast<std::uint32_t>(image_bytes));
            stream_.QueueBuffer(&buffer);
        }
    }
    [[nodiscard]] std::uint16_t port() const override { return stream_.GetLocalPort(); }
    [[nodiscard]] bool nothing_came() const override { return nothing_came_; }
    [[nodiscard]] std::uint64_t block_id() const override { return block_id_; }
    [[nodiscard]] std::uint64_t dropped() override { return stream_.dropped(); }
    bool receive_block() override
    {
        PvBuffer* buffer = nullptr;
        PvResult operation_result;
        nothing_came_ = !stream_.RetrieveBuffer(&buffer, &operation_result, 1000).IsOK();
        if (nothing_came_) {
            return false;
        }
        block_id_ = buffer->GetBlockID();
        stream_.QueueBuffer(buffer);
        return operation_result.IsOK();
    }

private:
    std::vector<PvBuffer> buffers_;
    Stream stream_;
    bool nothing_came_ = false;
    std::uint64_t block_id_ = 0;
};

}  // namespace

Way bare_way(bool coalescing)
{
    return {coalescing ? "bare recvmmsg, UDP_GRO" : "bare recvmmsg",
            [coalescing] { return std::make_unique<BareLoop>(coalescing); }};
}

Way packet_way(const std::string& backend)
{
    return {"PacketReceiver, " + backend, [backend] { return std::make_unique<PacketLoop>(backend); }};
}

Way stream_way(const std::string& backend, std::size_t buffers)
{
    return {"PvStream, " + backend, [backend, buffers] { return std::make_unique<StreamReceiver>(backend, buffers); }};
}

bool has_packet_ring() { return net::privileged_backend_serves({camera, host}); }

}  // namespace bench
