#include "tools/softcam/camera.h"

#include <atomic>
#include <mutex>
#include <random>
#include <stdexcept>
#include <utility>

#include "sdk/description/description_url.h"
#include "sdk/virtualdevice/bootstrap_device.h"
#include "sdk/virtualdevice/gvcp_server.h"
#include "sdk/wire/bootstrap.h"
#include "tools/softcam/acquisition.h"
#include "tools/softcam/description.h"
#include "tools/softcam/feature_registers.h"
#include "tools/softcam/registers.h"
#include "tools/softcam/zip_writer.h"

using namespace vex;

namespace softcam {

namespace {

// Loses first transmissions at random, the same ones for the same seed.
class RandomLoss final : public transmitter::PacketLoss {
public:
    RandomLoss(unsigned per_mille, std::uint64_t seed) : per_mille_(per_mille), random_(seed) {}

    bool loses(std::uint64_t, std::uint32_t, bool resend) override
    {
        if (resend) {
            return false;
        }
        const std::lock_guard guard(mutex_);
        return random_() % 1000 < per_mille_;
    }

private:
    const unsigned per_mille_;
    std::mutex mutex_;
    std::mt19937_64 random_;
};

net::Interface resolve(const std::string& name)
{
    const auto adapter = virtual_device::find_interface(name, net::list_interfaces());
    if (!adapter) {
        throw std::runtime_error("no network interface has the name or address \"" + name + "\"");
    }
    return *adapter;
}

}  // namespace

class Camera::Impl : private virtual_device::DeviceHooks {
public:
    Impl(const CameraOptions& options, const net::Clock& clock)
        : adapter_(resolve(options.adapter)), archive_(zip_one_file("softcam.xml", description_xml())),
          mac_(virtual_device::made_up_mac(adapter_.address)), events_(adapter_.address),
          acquisition_(adapter_.address, options.history_blocks, events_, clock),
          responder_(describe(options), *this, clock),
          features_(responder_, acquisition_, events_, [this] { request_reset(); }), server_(responder_)
    {
        const auto guard = responder_.lock();
        auto& map = responder_.registers();
        map.add(virtual_device::memory_region(reg::description, archive_));
        if (options.extended_ids) {
            map.set_value(wire::bootstrap::gvsp_configuration, wire::bootstrap::gvsp_extended_ids);
        }
        publish_source_ports();
        if (options.drop_per_mille > 0) {
            acquisition_.set_loss(std::make_shared<RandomLoss>(options.drop_per_mille, options.drop_seed));
        }
    }

    void start() { server_.start(adapter_); }

    void stop() noexcept
    {
        server_.stop();
        acquisition_.abort();
    }

    [[nodiscard]] Ipv4Address address() const { return server_.is_running() ? server_.address() : adapter_.address; }
    [[nodiscard]] MacAddress mac() const { return mac_; }
    [[nodiscard]] virtual_device::GvcpResponder& responder() { return responder_; }
    [[nodiscard]] CameraEvents& events() { return events_; }
    [[nodiscard]] Acquisition& acquisition() { return acquisition_; }

private:
    [[nodiscard]] virtual_device::DeviceDescription describe(const CameraOptions& options) const
    {
        virtual_device::DeviceDescription description;
        description.model = "SoftCam";
        description.device_version = "1.0";
        description.manufacturer_info = "software camera";
        description.serial_number = options.serial_number;
        description.user_defined_name = options.user_defined_name;
        description.mac = mac_;
        description.address = adapter_.address;
        description.mask = adapter_.mask;
        description.gateway = adapter_.gateway;
        description.first_url = description::local_url("softcam.zip", reg::description, archive_.size());
        description.stream_channels = 1;
        description.action_signals = 1;
        description.message_channel = true;
        description.extended_ids = true;
        description.packet_resend = true;
        return description;
    }

    void publish_source_ports()
    {
        using namespace wire::bootstrap;
        auto& map = responder_.registers();
        map.set_value(stream_register(0, stream::source_port), acquisition_.source_port());
        map.set_value(message_channel_source_port, events_.channel().source_port());
    }

    void request_reset()
    {
        reset_requested_ = true;
        responder_.release_when_answered();
    }

    void on_control_changed(bool controlled) override
    {
        if (controlled) {
            // an address given by FORCEIP is where pictures and events come from, too
            if (server_.is_running()) {
                acquisition_.reopen(server_.address());
                events_.channel().reopen(server_.address());
                publish_source_ports();
            }
            return;
        }
        acquisition_.abort();
        if (std::exchange(reset_requested_, false)) {
            features_.power_on();
            acquisition_.reset_timestamp();
        }
    }

    void on_stream_channel_changed(unsigned, const virtual_device::StreamChannel& state) override
    {
        acquisition_.set_channel(state);
    }

    void on_message_channel_changed(const virtual_device::MessageChannelState& state) override
    {
        events_.channel().configure(state);
    }

    void on_test_packet(unsigned, const virtual_device::StreamChannel& state) override
    {
        acquisition_.send_test_packet(state);
    }

    void on_packet_resend(const wire::gvcp::PacketResend& range) override
    {
        acquisition_.resend(range, responder_.extended_status());
    }

    void on_action(unsigned, const wire::gvcp::Action&) override { features_.action(); }

    virtual_device::Status on_force_ip(const wire::gvcp::ForceIp& settings) override
    {
        net::Interface wanted = adapter_;
        if (!settings.address.is_any()) {
            const auto found = virtual_device::find_interface(settings.address.to_string(), net::list_interfaces());
            if (!found) {
                return virtual_device::Status::invalid_parameter;  // a program cannot add addresses to its host
            }
            wanted = *found;
            wanted.mask = settings.mask;
            wanted.gateway = settings.gateway;
        }
        server_.rebind(wanted);
        return virtual_device::Status::success;
    }

    std::uint64_t timestamp() override { return acquisition_.timestamp(); }
    void reset_timestamp() override { acquisition_.reset_timestamp(); }

    const net::Interface adapter_;
    const std::string archive_;
    const MacAddress mac_;
    bool reset_requested_ = false;  // guarded by the responder's lock
    CameraEvents events_;
    Acquisition acquisition_;
    virtual_device::GvcpResponder responder_;
    FeatureRegisters features_;
    virtual_device::GvcpServer server_;
};

Camera::Camera(const CameraOptions& options, const net::Clock& clock) : impl_(std::make_unique<Impl>(options, clock)) {}
Camera::~Camera() { impl_->stop(); }
void Camera::start() { impl_->start(); }
void Camera::stop() noexcept { impl_->stop(); }
Ipv4Address Camera::address() const { return impl_->address(); }
MacAddress Camera::mac() const { return impl_->mac(); }
virtual_device::GvcpStatistics Camera::control_statistics() const { return impl_->responder().statistics(); }
transmitter::TransmitterStatistics Camera::stream_statistics() const { return impl_->acquisition().statistics(); }
virtual_device::MessageStatistics Camera::message_statistics() const { return impl_->events().channel().statistics(); }
virtual_device::GvcpResponder& Camera::responder() noexcept { return impl_->responder(); }
void Camera::set_loss(std::shared_ptr<transmitter::PacketLoss> loss) { impl_->acquisition().set_loss(std::move(loss)); }

}  // namespace softcam
