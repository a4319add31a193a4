// The frame of every operation: the lock, the callbacks after it, and changes announced from outside.

#include <algorithm>

#include "sdk/genapi/engine.h"
#include "sdk/genapi/linking.h"

namespace GenApi {

NodeMap::NodeMap(std::string xml, std::span<const NamedPort> ports, const LoadOptions& options)
    : bursts_(model_, options.now)
{
    XmlText text(std::move(xml), options.largest_description);
    Loading loading{
        .model = model_, .links = {}, .resolved = {}, .variable_uses = {}, .formulas = {}, .struct_members = {}};
    read_xml(text, loading);
    link(loading);
    for (NodeIndex index = 0; index < model_.node_count; ++index) {
        at(index).map = this;
    }
    acquisition_lock_ = model_.find("TLParamsLocked");
    for (const NamedPort& port : ports) {
        if (!connect_port(port.name, port.port)) {
            loading.note("", 0, "there is no port named " + std::string(port.name));
        }
    }
}

NodeMap::~NodeMap() = default;

std::unique_ptr<INodeMap> load_node_map(std::string xml, std::span<const NamedPort> ports, const LoadOptions& options)
{
    return std::make_unique<NodeMap>(std::move(xml), ports, options);
}

std::unique_ptr<INodeMap> load_node_map(std::string xml, IPort& device_port, const LoadOptions& options)
{
    const NamedPort port{device_port_name, &device_port};
    return load_node_map(std::move(xml), std::span(&port, 1), options);
}

INode* NodeMap::node(std::string_view name) const noexcept
{
    const NodeIndex index = model_.find(name);
    return index != no_node ? &model_.nodes[index] : nullptr;
}

INode* NodeMap::node_at(std::size_t index) const noexcept
{
    return index < model_.node_count ? &model_.nodes[index] : nullptr;
}

void NodeMap::used_by_its_port()
{
    throw Error(PvResult::StateError, "a port must not use the node map that it serves");
}

void NodeMap::look_around()
{
    watch_ports();
    if (has_deferred_.load(std::memory_order_relaxed) != 0) {
        take_over_deferred();
    }
}

void NodeMap::Operation::finish_with_news()
{
    if (look_ == Look::around && map_.has_deferred_.load(std::memory_order_relaxed) != 0) {
        // one operation, one call, also when the port announced what the operation did
        map_.take_over_deferred();
    }
    map_.changes_.spread(map_.found_changed_, value_channel);
    map_.found_changed_.clear();
    const std::vector<Call> calls = map_.collect_calls();
    map_.give_lock_back();
    make(calls);
}

/// What was valid for the last operation only is no longer valid.
void NodeMap::next_operation() noexcept
{
    if (++operation_ == 0) {
        forget_operations();
    }
}

/// The count of operations has wrapped around: old stamps would come true again.
void NodeMap::forget_operations() noexcept
{
    for (NodeIndex index = 0; index < model_.node_count; ++index) {
        at(index).value_operation = 0;
        at(index).access_operation = 0;
    }
    for (Cell& cell : model_.cells) {
        cell.operation = 0;
    }
    for (NumberData& number : model_.numbers) {
        number.cache.operation = 0;
    }
    for (FormulaData& formula : model_.formulas) {
        formula.cache.operation = 0;
    }
    operation_ = 1;
}

void NodeMap::take_over_deferred()
{
    std::vector<NodeIndex> nodes;
    {
        const std::lock_guard lock(deferred_mutex_);
        nodes.swap(deferred_);
        has_deferred_.store(0);
    }
    changes_.spread(nodes, device_channel);
}

std::vector<NodeMap::Call> NodeMap::collect_calls() noexcept
{
    std::vector<Call> calls;
    try {
        for (const NodeIndex index : changes_.to_notify()) {
            at(index).notify = false;
            if (const auto found = callbacks_.find(index); found != callbacks_.end()) {
                for (const auto& callback : found->second) {
                    calls.push_back({&at(index), callback});
                }
            }
        }
    } catch (const std::bad_alloc&) {
        // better some news than none; the state itself is in order
        for (const NodeIndex index : changes_.to_notify()) {
            at(index).notify = false;
        }
    }
    changes_.to_notify().clear();
    return calls;
}

void NodeMap::make(const std::vector<Call>& calls) noexcept
{
    for (const Call& call : calls) {
        if (call.callback->removed.load(std::memory_order_acquire)) {
            continue;
        }
        try {
            call.callback->function(*call.node);
        } catch (...) {
            // an operation that has succeeded does not fail because of who is told about it
        }
    }
}

void NodeMap::changed(INode& node)
{
    {
        const std::lock_guard lock(deferred_mutex_);
        deferred_.push_back(static_cast<Node&>(node).index);
        has_deferred_.exchange(1);
    }
    if (owner_.load(std::memory_order_relaxed) != std::this_thread::get_id()) {
        work_off_deferred();
    }
}

/// Without waiting: when the lock is taken, its holder sees to it.
void NodeMap::work_off_deferred()
{
    while (has_deferred_.load() != 0 && mutex_.try_lock()) {
        owner_.store(std::this_thread::get_id(), std::memory_order_relaxed);
        next_operation();
        take_over_deferred();
        const std::vector<Call> calls = collect_calls();
        give_lock_back();
        make(calls);
        has_deferred_.fetch_or(0);
    }
}

/// Whether registers can be read at all depends on whether their port is open; nobody tells when that changes.
void NodeMap::watch_ports()
{
    for (const NodeIndex index : connected_ports_) {
        PortData& port = model_.ports[at(index).data];
        if (port.port->is_open() != port.open) {
            port.open = !port.open;
            changes_.spread(index, access_channel);
        }
    }
}

bool NodeMap::connect_port(std::string_view name, IPort* port)
{
    const NodeIndex index = model_.find(name);
    if (index == no_node || at(index).kind != Kind::port) {
        return false;
    }
    const Operation operation(*this);
    PortData& data = model_.ports[at(index).data];
    data.port = port;
    data.open = port != nullptr && port->is_open();
    std::erase(connected_ports_, index);
    if (port != nullptr) {
        connected_ports_.push_back(index);
    }
    changes_.spread(index, device_channel | access_channel);
    return true;
}

}  // namespace GenApi
