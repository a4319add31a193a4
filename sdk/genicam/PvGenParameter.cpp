#include "sdk/genicam/PvGenParameter.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sdk/base/utf8.h"
#include "sdk/genicam/parameter_internals.h"

using namespace vex;

/// What of a parameter changes; apart from the node map's lock, and never held while something else is called.
struct PvGenParameter::State {
    struct Registered {
        PvGenEventSink* sink;
        std::shared_ptr<PvGenEventSink> kept;  ///< null for a sink that is somebody else's
    };

    [[nodiscard]] auto find(const PvGenEventSink* sink)
    {
        return std::find_if(sinks.begin(), sinks.end(),
                            [sink](const Registered& registered) { return registered.sink == sink; });
    }

    std::mutex mutex;
    std::string last_error;
    std::vector<Registered> sinks;
    std::optional<GenApi::CallbackId> callback;
};

PvGenParameter::PvGenParameter(GenApi::INode& node, const Owner& owner, PvGenType type)
    : node_(&node), owner_(owner), type_(type), state_(std::make_shared<State>())
{}

PvGenParameter::~PvGenParameter()
{
    if (state_->callback) {
        node_->remove_callback(*state_->callback);
    }
}

PvResult PvGenParameter::GetName(PvString& aName) const
{
    return run([&] { aName = PvString(node_->name()); });
}

PvResult PvGenParameter::GetType(PvGenType& aType) const
{
    aType = type_;
    return PvResult::OK;
}

PvResult PvGenParameter::GetCategory(PvString& aCategory) const
{
    return run([&] {
        const GenApi::INode* const category = node_->category();
        aCategory = category != nullptr ? PvString(category->name()) : PvString();
    });
}

PvResult PvGenParameter::GetToolTip(PvString& aToolTip) const
{
    return run([&] { aToolTip = PvString(node_->tool_tip()); });
}

PvResult PvGenParameter::GetDescription(PvString& aDescription) const
{
    return run([&] { aDescription = PvString(node_->description()); });
}

PvResult PvGenParameter::GetDisplayName(PvString& aDisplayName) const
{
    return run([&] { aDisplayName = PvString(node_->display_name()); });
}

PvResult PvGenParameter::GetNameSpace(PvGenNameSpace& aNameSpace) const
{
    aNameSpace = genicam::name_space_of(node_->name_space());
    return PvResult::OK;
}

PvResult PvGenParameter::GetVisibility(PvGenVisibility& aVisibility) const
{
    aVisibility = genicam::visibility_of(node_->visibility());
    return PvResult::OK;
}

template <class Related>
PvResult PvGenParameter::list(PvGenParameterList& aList, Related&& related) const
{
    aList.Clear();
    return run([&] {
        for (const GenApi::INode* node : related()) {
            // a description may relate features to nodes that are none
            if (const auto found = owner_.parameters.find(node); found != owner_.parameters.end()) {
                aList.Add(found->second);
            }
        }
    });
}

PvResult PvGenParameter::GetSelectedParameters(PvGenParameterList& aList) const
{
    return list(aList, [this] { return node_->selected(); });
}

PvResult PvGenParameter::GetSelectingParameters(PvGenParameterList& aList) const
{
    return list(aList, [this] { return node_->selecting(); });
}

PvResult PvGenParameter::GetPollingTime(std::int64_t& aPollingTime) const
{
    aPollingTime = node_->polling_time();
    return PvResult::OK;
}

PvString PvGenParameter::GetLastErrorMsg() const
{
    const std::lock_guard lock(state_->mutex);
    return PvString(std::string_view(state_->last_error));
}

bool PvGenParameter::IsValueCached() const
{
    return genicam::holds([&] { return node_->is_cached(); });
}

bool PvGenParameter::IsPersistent() const
{
    return node_->is_streamable() && type_ != PvGenTypeCommand &&
           genicam::holds([&] { return node_->access() == GenApi::AccessMode::read_write; });
}

bool PvGenParameter::IsAvailable() const
{
    return genicam::holds([&] { return GenApi::is_available(node_->access()); });
}

bool PvGenParameter::IsWritable() const
{
    return genicam::holds([&] { return GenApi::is_writable(node_->access()); });
}

bool PvGenParameter::IsReadable() const
{
    return genicam::holds([&] { return GenApi::is_readable(node_->access()); });
}

PvResult PvGenParameter::IsSelector(bool& aSelector) const
{
    aSelector = node_->is_selector();
    return PvResult::OK;
}

bool PvGenParameter::IsStreamable() const { return node_->is_streamable(); }

bool PvGenParameter::IsVisible(PvGenVisibility aVisibility) const
{
    return genicam::is_visible(node_->visibility(), aVisibility);
}

PvResult PvGenParameter::ToString(PvString& aValue) const
{
    return run([&] { aValue = PvString(node_->to_string()); });
}

PvResult PvGenParameter::FromString(const PvString& aValue)
{
    return change([&] { node_->from_string(without_surrogates(aValue.view())); });
}

PvResult PvGenParameter::RegisterEventSink(PvGenEventSink* aSink) { return add_sink(aSink, nullptr); }

PvResult PvGenParameter::KeepEventSink(std::shared_ptr<PvGenEventSink> aSink)
{
    PvGenEventSink* const sink = aSink.get();
    return add_sink(sink, std::move(aSink));
}

PvResult PvGenParameter::add_sink(PvGenEventSink* sink, std::shared_ptr<PvGenEventSink> kept)
{
    return run([&] {
        if (sink == nullptr) {
            throw GenApi::ValueError("An event sink must not be null");
        }
        bool first = false;
        {
            const std::lock_guard lock(state_->mutex);
            if (state_->find(sink) != state_->sinks.end()) {
                throw GenApi::Error(PvResult::StateError,
                                    "The event sink is registered with " + std::string(node_->name()) + " already");
            }
            state_->sinks.push_back({sink, std::move(kept)});
            first = !state_->callback;
            // claimed before the lock is given back, so that two threads cannot both be the first
            state_->callback = state_->callback.value_or(0);
        }
        if (first) {
            try {
                const GenApi::CallbackId id = node_->on_change([this](GenApi::INode&) { notify(); });
                const std::lock_guard lock(state_->mutex);
                state_->callback = id;
            } catch (...) {
                State::Registered removed{};
                const std::lock_guard lock(state_->mutex);
                state_->callback.reset();
                if (const auto found = state_->find(sink); found != state_->sinks.end()) {
                    removed = std::move(*found);
                    state_->sinks.erase(found);
                }
                throw;
            }
        }
    });
}

PvResult PvGenParameter::UnregisterEventSink(PvGenEventSink* aSink)
{
    State::Registered removed{};  // a kept sink goes after the lock
    return run([&] {
        const std::lock_guard lock(state_->mutex);
        const auto found = state_->find(aSink);
        if (found == state_->sinks.end()) {
            throw GenApi::Error(PvResult::NotFound,
                                "The event sink is not registered with " + std::string(node_->name()));
        }
        removed = std::move(*found);
        state_->sinks.erase(found);
    });
}

void PvGenParameter::notify()
{
    std::vector<State::Registered> sinks;
    {
        const std::lock_guard lock(state_->mutex);
        sinks = state_->sinks;
    }
    for (const State::Registered& registered : sinks) {
        {
            // an earlier sink may have taken this one away
            const std::lock_guard lock(state_->mutex);
            if (state_->find(registered.sink) == state_->sinks.end()) {
                continue;
            }
        }
        const ApplicationCall call;
        static_cast<void>(genicam::result_of([&] { registered.sink->OnParameterUpdate(this); }));
    }
}

void PvGenParameter::forget_event_sinks() noexcept
{
    std::vector<State::Registered> forgotten;  // kept sinks go after the lock
    const std::lock_guard lock(state_->mutex);
    forgotten.swap(state_->sinks);
}

void PvGenParameter::remember(const PvResult& result) const
{
    const std::lock_guard lock(state_->mutex);
    static_cast<void>(genicam::result_of([&] { state_->last_error = result.description(); }));
}
