#include "sdk/net/receive_backends.h"

#include <algorithm>
#include <mutex>
#include <system_error>

#include "sdk/net/system_backends.h"

namespace vex::net {

namespace {

struct Registry {
    std::mutex mutex;
    std::vector<SharedBackend> backends = system_backends();
};

Registry& registry()
{
    // never destroyed: streams in static objects may outlive it
    static auto* const all = new Registry;
    return *all;
}

}  // namespace

std::vector<SharedBackend> receive_backends()
{
    Registry& all = registry();
    const std::scoped_lock lock(all.mutex);
    return all.backends;
}

AddedBackend::AddedBackend(SharedBackend backend) : backend_(std::move(backend))
{
    Registry& all = registry();
    const std::scoped_lock lock(all.mutex);
    all.backends.insert(all.backends.begin(), backend_);
}

AddedBackend::~AddedBackend()
{
    Registry& all = registry();
    const std::scoped_lock lock(all.mutex);
    const auto place = std::ranges::find(all.backends, backend_);
    if (place != all.backends.end()) {
        all.backends.erase(place);
    }
}

bool privileged_backend_serves(const ReceivePath& path)
{
    return std::ranges::any_of(receive_backends(), [&path](const SharedBackend& backend) {
        return backend->privileged() && backend->serves(path);
    });
}

std::unique_ptr<PacketReceiver> create_receiver(const ReceiverOptions& options, std::string_view name)
{
    bool is_known = false;
    for (const SharedBackend& backend : receive_backends()) {
        if (!name.empty() && backend->name() != name) {
            continue;
        }
        is_known = true;
        if (!backend->serves(options.path)) {
            continue;
        }
        if (std::unique_ptr<PacketReceiver> receiver = backend->create(options)) {
            return receiver;
        }
    }
    const std::string what = "the receive backend '" + std::string(name) + "'";
    if (!is_known) {
        throw std::system_error(std::make_error_code(std::errc::invalid_argument), what + " is not known here");
    }
    throw std::system_error(std::make_error_code(std::errc::operation_not_permitted),
                            what + " cannot be used on " + options.path.local_interface.to_string());
}

}  // namespace vex::net
