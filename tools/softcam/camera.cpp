#include "tools/softcam/camera.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <random>
#include <stdexcept>
#include <utility>

#include "sdk/description/description_url.h"
#include "sdk/virtualdevice/bootstrap_device.h"
#include "sdk/virtualdevice/gvcp_server.h"
#include "sdk/wire/bootstrap.h"
#include "sdk/wire/manifest.h"
#include "tools/softcam/acquisition.h"
#include "tools/softcam/description.h"
#include "tools/softcam/feature_registers.h"
#include "tools/softcam/registers.h"
#include "tools/softcam/state_file.h"
#include "tools/softcam/zip_writer.h"

using namespace vex;

namespace softcam {

namespace {

// Loses everything while the camera is silent, else what another one loses.
class LinkLoss final : public transmitter::PacketLoss {
public:
    LinkLoss(const FaultyLink& link, std::shared_ptr<transmitter::PacketLoss> other)
        : link_(link), other_(std::move(other))
    {}

    bool loses(std::uint64_t block_id, std::uint32_t packet_id, bool resend) override
    {
        return link_.is_silent() || (other_ && other_->loses(block_id, packet_id, resend));
    }

private:
    const FaultyLink& link_;
    const std::shared_ptr<transmitter::PacketLoss> other_;
};

std::unique_ptr<peripherals::SerialDevice> serial0_device(const CameraOptions& options)
{
    return options.serial0_device ? options.serial0_device() : std::make_unique<peripherals::Loopback>();
}

std::unique_ptr<peripherals::SerialDevice> serial1_device(const CameraOptions& options)
{
    return options.serial1_device
               ? options.serial1_device()
               : std::make_unique<peripherals::CommandLineDevice>("SoftCam " + options.serial_number);
}

// A table of the one description that there is.
virtual_device::Region manifest_of(const std::string& archive)
{
    namespace manifest = wire::manifest;
    virtual_device::Region region;
    region.address = wire::bootstrap::manifest_table;
    region.bytes.resize(manifest::count_size + manifest::entry_size);
    const std::span<std::uint8_t> bytes(region.bytes);
    manifest::encode_count(1, bytes.first<manifest::count_size>());
    manifest::encode_entry({.file = {1, 0, 0},
                            .schema = {1, 1, 0},
                            .format = manifest::Format::zip,
                            .address = reg::description,
                            .length = static_cast<std::uint32_t>(archive.size())},
                           bytes.subspan<manifest::count_size, manifest::entry_size>());
    return region;
}

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
          mac_(virtual_device::made_up_mac(adapter_.address)), link_(responder_, clock),
          events_(adapter_.address, [this] { return link_.is_silent(); }),
          acquisition_(adapter_.address, options.stream_channels, options.history_blocks,
                       {.payload = options.payload, .all_in = options.all_in, .trains = options.trains}, events_,
                       clock),
          responder_(describe(options), *this, clock),
          features_(
              responder_, acquisition_, events_, [this] { responder_.restart_when_answered(); }, options.free_geometry),
          files_(
              responder_.registers(),
              {.get = [this](std::uint32_t set) { return features_.user_set_file(set); },
               .put = [this](std::uint32_t set,
                             std::span<const std::uint8_t> file) { return features_.load_user_set_file(set, file); }},
              clock),
          side_channels_(
              responder_.registers(), serial0_device(options), serial1_device(options),
              [this](std::uint32_t port, std::uint32_t count) {
                  events_.tell_received(port, acquisition_.timestamp(), count);
              },
              clock),
          server_(responder_, link_), state_(options.state_file)
    {
        const auto guard = responder_.lock();
        auto& map = responder_.registers();
        map.add(virtual_device::memory_region(reg::description, archive_));
        if (options.manifest) {
            map.add(manifest_of(archive_));
        }
        if (options.extended_ids || options.payload == PayloadKind::multi_part) {
            map.set_value(wire::bootstrap::gvsp_configuration, wire::bootstrap::gvsp_extended_ids);
        }
        state_.load(map);
        responder_.remember_power_on();
        publish_source_ports();
        set_loss(nullptr);
        acquisition_.set_faults(options.stream_faults);
        link_.set_faults(options.control_faults);
        files_.set_faults(options.file_faults);
        side_channels_.set_faults(options.side_channel_faults);
    }

    ~Impl() override { stop(); }

    void start()
    {
        set_adapter(power_on_adapter());
        server_.start(adapter());
    }

    void stop() noexcept
    {
        server_.stop();
        acquisition_.abort();
    }

    void reboot(const RebootOptions& options)
    {
        const net::Interface before = adapter();
        const net::Interface after = options.adapter.empty() ? power_on_adapter() : resolve(options.adapter);
        const std::string archive =
            options.description.empty() ? std::string() : zip_one_file("softcam.xml", options.description);
        link_.be_silent_for(options.silence);
        const bool running = server_.is_running();
        server_.stop();
        link_.forget();
        responder_.restart();
        if (!archive.empty()) {
            describe_with(archive);
        }
        responder_.set_address(after.address, after.mask, after.gateway);
        set_adapter(after);
        if (!running) {
            return;
        }
        try {
            server_.start(after);
        } catch (const std::exception&) {
            set_adapter(before);
            server_.start(before);
            throw;
        }
    }

    void set_loss(std::shared_ptr<transmitter::PacketLoss> loss)
    {
        acquisition_.set_loss(std::make_shared<LinkLoss>(link_, std::move(loss)));
    }

    [[nodiscard]] FaultyLink& link() { return link_; }
    [[nodiscard]] Ipv4Address address() const { return server_.is_running() ? server_.address() : adapter().address; }
    [[nodiscard]] MacAddress mac() const { return mac_; }
    [[nodiscard]] virtual_device::GvcpResponder& responder() { return responder_; }
    [[nodiscard]] CameraEvents& events() { return events_; }
    [[nodiscard]] Acquisition& acquisition() { return acquisition_; }
    void set_file_faults(const FileFaults& faults)
    {
        const auto guard = responder_.lock();
        files_.set_faults(faults);
    }
    void set_side_channel_faults(const SideChannelFaults& faults)
    {
        const auto guard = responder_.lock();
        side_channels_.set_faults(faults);
    }

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
        description.manifest_table = options.manifest;
        description.stream_channels = options.stream_channels;
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
        for (unsigned channel = 0; channel < map.value(stream_channel_count); ++channel) {
            map.set_value(stream_register(channel, stream::source_port), acquisition_.source_port(channel));
        }
        map.set_value(message_channel_source_port, events_.channel().source_port());
    }

    // Another description from now on, as after another firmware was loaded.
    void describe_with(const std::string& archive)
    {
        const auto guard = responder_.lock();
        auto& map = responder_.registers();
        map.replace(virtual_device::memory_region(reg::description, archive));
        if (map.mapped(wire::bootstrap::manifest_table, 4)) {
            map.replace(manifest_of(archive));
        }
        map.set_text(wire::bootstrap::first_url,
                     description::local_url("softcam.zip", reg::description, archive.size()));
        responder_.remember_power_on();
    }

    [[nodiscard]] net::Interface power_on_adapter()
    {
        namespace boot = wire::bootstrap;
        const auto guard = responder_.lock();
        const auto& map = responder_.registers();
        const Ipv4Address persistent{map.value(boot::persistent_ip)};
        const bool enabled = (map.value(boot::current_ip_configuration) & boot::ip_configuration::persistent) != 0;
        if (!enabled || persistent == first_address_) {
            return adapter();
        }
        auto found = virtual_device::find_interface(persistent.to_string(), net::list_interfaces());
        if (!found) {
            return adapter();
        }
        found->mask = {map.value(boot::persistent_mask)};
        found->gateway = {map.value(boot::persistent_gateway)};
        return *found;
    }

    [[nodiscard]] net::Interface adapter() const
    {
        const std::lock_guard guard(adapter_mutex_);
        return adapter_;
    }
    void set_adapter(const net::Interface& adapter)
    {
        const std::lock_guard guard(adapter_mutex_);
        adapter_ = adapter;
    }

    void on_control_changed(bool controlled) override
    {
        if (!controlled) {
            acquisition_.abort();
            files_.close_all();
        } else if (server_.is_running()) {
            // an address that was given later is where pictures and events come from, too
            acquisition_.reopen(server_.address());
            events_.channel().reopen(server_.address());
            publish_source_ports();
        }
    }

    virtual_device::Status on_persistent_change() override { return state_.save(responder_.registers()); }

    void on_restart() override
    {
        acquisition_.abort();
        features_.power_on();
        files_.power_on();
        side_channels_.power_on();
        acquisition_.reset_timestamp();
        publish_source_ports();
    }

    void on_stream_channel_changed(unsigned channel, const virtual_device::StreamChannel& state) override
    {
        acquisition_.set_channel(channel, state);
    }

    void on_message_channel_changed(const virtual_device::MessageChannelState& state) override
    {
        events_.channel().configure(state);
    }

    void on_test_packet(unsigned channel, const virtual_device::StreamChannel& state) override
    {
        acquisition_.send_test_packet(channel, state);
    }

    void on_packet_resend(const wire::gvcp::PacketResend& range) override
    {
        acquisition_.resend(range, responder_.extended_status());
    }

    void on_action(unsigned, const wire::gvcp::Action&) override { features_.action(); }

    virtual_device::Status on_force_ip(const wire::gvcp::ForceIp& settings) override
    {
        net::Interface wanted = adapter();
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

    std::optional<net::Clock::time_point> on_tick() override { return side_channels_.update(); }

    std::uint64_t timestamp() override { return acquisition_.timestamp(); }
    void reset_timestamp() override { acquisition_.reset_timestamp(); }

    mutable std::mutex adapter_mutex_;
    net::Interface adapter_;  // where it is switched on
    const Ipv4Address first_address_ = adapter_.address;
    const std::string archive_;
    const MacAddress mac_;
    FaultyLink link_;
    CameraEvents events_;
    Acquisition acquisition_;
    virtual_device::GvcpResponder responder_;
    FeatureRegisters features_;
    Files files_;
    SideChannels side_channels_;
    virtual_device::GvcpServer server_;
    const StateFile state_;
};

Camera::Camera(const CameraOptions& options, const net::Clock& clock) : impl_(std::make_unique<Impl>(options, clock)) {}
Camera::~Camera() = default;
void Camera::start() { impl_->start(); }
void Camera::stop() noexcept { impl_->stop(); }
Ipv4Address Camera::address() const { return impl_->address(); }
MacAddress Camera::mac() const { return impl_->mac(); }
virtual_device::GvcpStatistics Camera::control_statistics() const { return impl_->responder().statistics(); }
transmitter::TransmitterStatistics Camera::stream_statistics() const { return impl_->acquisition().statistics(); }
virtual_device::MessageStatistics Camera::message_statistics() const { return impl_->events().channel().statistics(); }
virtual_device::GvcpResponder& Camera::responder() noexcept { return impl_->responder(); }
void Camera::set_loss(std::shared_ptr<transmitter::PacketLoss> loss) { impl_->set_loss(std::move(loss)); }
void Camera::set_stream_faults(const transmitter::StreamFaultSettings& faults)
{
    impl_->acquisition().set_faults(faults);
}
transmitter::StreamFaultStatistics Camera::stream_fault_statistics() const
{
    return impl_->acquisition().fault_statistics();
}
void Camera::go_silent(bool silent) { impl_->link().set_silent(silent); }
void Camera::go_silent_for(std::chrono::milliseconds time) { impl_->link().be_silent_for(time); }
void Camera::reboot(const RebootOptions& options) { impl_->reboot(options); }
void Camera::set_file_faults(const FileFaults& faults) { impl_->set_file_faults(faults); }
void Camera::set_side_channel_faults(const SideChannelFaults& faults) { impl_->set_side_channel_faults(faults); }
void Camera::set_control_faults(const ControlFaults& faults) { impl_->link().set_faults(faults); }
FaultStatistics Camera::fault_statistics() const { return impl_->link().statistics(); }

}  // namespace softcam
