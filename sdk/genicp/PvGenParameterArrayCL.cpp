#include "sdk/genicp/PvGenParameterArrayCL.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <mutex>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicp/camera_folder.h"
#include "sdk/genicp/client.h"
#include "sdk/genicp/connection.h"
#include "sdk/genicp/descriptions.h"
#include "sdk/genicp/device_id.h"
#include "sdk/genicp/device_template.h"
#include "sdk/genicp/memory_port.h"
#include "sdk/genicp/probe.h"
#include "sdk/genicp/serial_link.h"

using namespace vex;

static_assert(PvGenParameterArrayCL::default_timeout == genicp::default_serial_timeout);
static_assert(PvGenParameterArrayCL::shortest_timeout == genicp::shortest_serial_timeout);
static_assert(PvGenParameterArrayCL::longest_timeout == genicp::longest_serial_timeout);

struct PvGenParameterArrayCL::Impl {
    /// What the array is connected to, told together.
    struct Bound {
        std::shared_ptr<genicp::Connection> connection;
        PvString port;
        PvString device;
    };

    [[nodiscard]] Bound bound() const
    {
        const std::scoped_lock lock(mutex);
        return now;
    }

    /// Ends the connection before, outside the lock: its end takes its time.
    void bind(Bound next)
    {
        port.attach(next.connection);
        Bound before;
        {
            const std::scoped_lock lock(mutex);
            before = std::exchange(now, std::move(next));
        }
        if (before.connection != nullptr) {
            before.connection->close();
        }
    }

    genicp::MemoryPort port;
    std::mutex connect_mutex;  ///< one Connect at a time; taken before the other
    mutable std::mutex mutex;  ///< for what follows
    Bound now;
    PvString xml_id;
    std::uint32_t timeout = default_timeout;
};

namespace {

/// What `work` throws as a result. For the public members: nothing thrown leaves them.
template <class Work>
PvResult result_of(Work work)
{
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    } catch (const std::exception& error) {
        return failure(PvResult::GenericError, std::string_view(error.what()));
    }
}

struct Reached {
    std::unique_ptr<genicp::SerialLink> link;
    genicp::FoundDevice device;
    genicp::DeviceId id;
};

/// Opens the port and finds the device there. `wanted` may leave open what it likes.
PvResult reach(const PvString& port, const genicp::DeviceId& wanted, std::chrono::milliseconds timeout,
               Reached& reached)
{
    genicp::DeviceTemplate how;
    if (PvResult unknown = genicp::find_template(wanted.template_name, genicp::camera_folder(), how); !unknown.IsOK()) {
        return unknown;
    }
    std::vector<std::uint32_t> rates = how.baud_rates;
    if (wanted.baud_rate != 0) {
        rates = {wanted.baud_rate};
    } else if (genicp::kind_of_port(port.view()) == genicp::PortKind::pipe) {
        // the line behind it is somebody else's to set; its bytes get the time of the slowest one
        rates = {std::ranges::min(rates)};
    }
    PvSerialPortConfiguration line = how.line;
    line.BaudRate = rates.front();
    if (PvResult closed = genicp::open_link(port, line, reached.link); !closed.IsOK()) {
        return closed;
    }
    if (PvResult nobody =
            genicp::find_device(*reached.link, port.view(), how, rates, timeout, net::Clock::steady(), reached.device);
        !nobody.IsOK()) {
        return nobody;
    }
    reached.id = genicp::device_id_of(how.name, reached.device.baud_rate, reached.device.facts);
    return PvResult::OK;
}

void fill(PvStringList& list, const std::vector<std::string>& texts)
{
    list.Clear();
    for (const std::string& text : texts) {
        list.Add(PvString(std::string_view(text)));
    }
}

}  // namespace

PvGenParameterArrayCL::PvGenParameterArrayCL() : impl_(std::make_unique<Impl>()) {}

PvGenParameterArrayCL::~PvGenParameterArrayCL()
{
    static_cast<void>(result_of([&] {
        impl_->bind({});
        return PvResult(PvResult::OK);
    }));
    clear();
}

PvString PvGenParameterArrayCL::GetDeviceID() const { return impl_->bound().device; }

PvString PvGenParameterArrayCL::GetPortID() const { return impl_->bound().port; }

PvString PvGenParameterArrayCL::GetXMLID() const
{
    const std::scoped_lock lock(impl_->mutex);
    return impl_->xml_id;
}

void PvGenParameterArrayCL::GetDeviceTemplates(PvStringList& aTemplates)
{
    fill(aTemplates, genicp::template_names(genicp::camera_folder()));
}

PvResult PvGenParameterArrayCL::Build(const PvString& aXMLID)
{
    return result_of([&]() -> PvResult {
        const auto connection = impl_->bound().connection;
        std::string xml;
        if (PvResult result = genicp::read_description(connection.get(), genicp::camera_folder(), aXMLID.view(), xml);
            !result.IsOK()) {
            return result;
        }
        try {
            build(GenApi::load_node_map(std::move(xml), impl_->port));
        } catch (const GenApi::Error& error) {
            return failure(error.code(), "The description \"", aXMLID.view(),
                           "\" cannot be used: ", std::string_view(error.what()));
        }
        const std::scoped_lock lock(impl_->mutex);
        impl_->xml_id = aXMLID.empty() ? PvString(genicp::device_description) : aXMLID;
        return PvResult::OK;
    });
}

PvResult PvGenParameterArrayCL::Connect(const PvString& aPortID, const PvString& aDeviceID)
{
    return result_of([&]() -> PvResult {
        const auto wanted = genicp::parse_device_id(aDeviceID.view());
        if (!wanted) {
            return failure(PvResult::InvalidParameter, "\"", aDeviceID.view(),
                           "\" does not name a device: TEMPLATE:BAUD:MANUFACTURER:MODEL:SERIAL is wanted");
        }
        const std::scoped_lock one(impl_->connect_mutex);
        impl_->bind({});
        genicp::Timing timing;
        std::uint32_t timeout = 0;
        static_cast<void>(GetSerialTimeout(timeout));
        timing.answer_timeout = std::chrono::milliseconds(timeout);
        Reached reached;
        if (PvResult failed = reach(aPortID, *wanted, timing.answer_timeout, reached); !failed.IsOK()) {
            return failed;
        }
        if (!wanted->names(reached.id)) {
            return failure(
                PvResult::NotFound, aPortID.view(), ": the device there is \"", [&] { return reached.id.text(); },
                "\", not \"", aDeviceID.view(), "\"");
        }
        timing.baud_rate = reached.device.baud_rate;
        Impl::Bound bound{nullptr, aPortID, PvString(reached.id.text())};
        if (PvResult refused =
                genicp::Connection::open(std::move(reached.link), aPortID.str(), std::move(reached.device.facts),
                                         timing, net::Clock::steady(), bound.connection);
            !refused.IsOK()) {
            return refused;
        }
        impl_->bind(std::move(bound));
        // what was known of another device
        return GetNodeMap() != nullptr ? InvalidateCache() : PvResult(PvResult::OK);
    });
}

PvResult PvGenParameterArrayCL::Disconnect()
{
    return result_of([&] {
        const std::scoped_lock one(impl_->connect_mutex);
        impl_->bind({});
        return PvResult(PvResult::OK);
    });
}

PvResult PvGenParameterArrayCL::GetSerialTimeout(std::uint32_t& aTimeout) const
{
    const std::scoped_lock lock(impl_->mutex);
    aTimeout = impl_->timeout;
    return PvResult::OK;
}

PvResult PvGenParameterArrayCL::SetSerialTimeout(std::uint32_t aTimeout)
{
    if (aTimeout < shortest_timeout || aTimeout > longest_timeout) {
        return failure(PvResult::InvalidParameter, "The serial time-out ", aTimeout, " ms is not one of ",
                       shortest_timeout, " to ", longest_timeout, " ms");
    }
    const std::scoped_lock lock(impl_->mutex);
    impl_->timeout = aTimeout;
    if (impl_->now.connection != nullptr) {
        genicp::Timing timing = impl_->now.connection->client().timing();
        timing.answer_timeout = std::chrono::milliseconds(aTimeout);
        impl_->now.connection->client().set_timing(timing);
    }
    return PvResult::OK;
}

PvResult PvGenParameterArrayCL::GetXMLIDs(PvStringList& aXMLIDs)
{
    return result_of([&] {
        const auto connection = impl_->bound().connection;
        std::vector<std::string> identifiers;
        PvResult result = genicp::list_descriptions(connection.get(), genicp::camera_folder(), identifiers);
        fill(aXMLIDs, identifiers);
        return result;
    });
}

PvString PvGenParameterArrayCL::ProbeDevice(const PvString& aPortID, const PvString& aDeviceTemplate,
                                            std::uint32_t aSerialTimeout)
{
    constexpr std::uint32_t usual_timeout = 250;
    const std::uint32_t timeout =
        aSerialTimeout == 0 ? usual_timeout : std::clamp(aSerialTimeout, shortest_timeout, longest_timeout);
    PvString found;
    static_cast<void>(result_of([&]() -> PvResult {
        genicp::DeviceId wanted;
        wanted.template_name = aDeviceTemplate.str();
        Reached reached;
        PvResult result = reach(aPortID, wanted, std::chrono::milliseconds(timeout), reached);
        if (result.IsOK()) {
            found = PvString(reached.id.text());
        }
        return result;
    }));
    return found;
}
