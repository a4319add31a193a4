// PvGenParameter: what all parameters share, whatever kind of value they have.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/genicam/PvGenEventSink.h"
#include "sdk/genicam/PvGenParameterList.h"
#include "sdk/genicam/PvGenTypes.h"

namespace GenApi {
class INode;
}

/// A feature of a device or stream. It belongs to its array and lives as long as that.
///
/// Getters fill their argument and leave it unchanged on failure. Results: StateError when the parameter cannot be
/// read or written at present, InvalidParameter when it does not take the value, NetworkError and its like as the
/// transport gives them. The description of a result names the parameter and the cause.
///
/// Thread safety: every member may be called from any thread.
class PvGenParameter {
public:
    virtual ~PvGenParameter();
    PvGenParameter(const PvGenParameter&) = delete;
    PvGenParameter& operator=(const PvGenParameter&) = delete;

    PvResult GetName(PvString& aName) const;
    PvResult GetType(PvGenType& aType) const;
    /// The name of the category that lists the parameter; PvGenParameterArray::GetCategory takes it.
    PvResult GetCategory(PvString& aCategory) const;
    PvResult GetToolTip(PvString& aToolTip) const;
    PvResult GetDescription(PvString& aDescription) const;
    PvResult GetDisplayName(PvString& aDisplayName) const;
    PvResult GetNameSpace(PvGenNameSpace& aNameSpace) const;
    PvResult GetVisibility(PvGenVisibility& aVisibility) const;
    /// The parameters that this one selects; the list is cleared first.
    PvResult GetSelectedParameters(PvGenParameterList& aList) const;
    /// The parameters that select this one; the list is cleared first.
    PvResult GetSelectingParameters(PvGenParameterList& aList) const;
    /// In milliseconds; -1 when the parameter is not polled.
    PvResult GetPollingTime(std::int64_t& aPollingTime) const;
    /// The description of the last failed operation on this parameter; empty when none has failed.
    [[nodiscard]] PvString GetLastErrorMsg() const;
    [[nodiscard]] GenApi::INode* GetNode() const noexcept { return node_; }

    /// A read would be answered without a transfer.
    [[nodiscard]] bool IsValueCached() const;
    /// Belongs into a saved configuration: streamable, and readable and writable at present.
    [[nodiscard]] bool IsPersistent() const;
    [[nodiscard]] bool IsAvailable() const;
    [[nodiscard]] bool IsWritable() const;
    [[nodiscard]] bool IsReadable() const;
    PvResult IsSelector(bool& aSelector) const;
    [[nodiscard]] bool IsStreamable() const;
    /// Meant for users of that level; nothing is visible at an undefined level.
    [[nodiscard]] bool IsVisible(PvGenVisibility aVisibility) const;

    /// The value as text: numbers by representation, enumerations by entry name, booleans 0 and 1, registers as
    /// hexadecimal digits.
    PvResult ToString(PvString& aValue) const;
    PvResult FromString(const PvString& aValue);

    /// Sinks are called in the order of registration. The sink is borrowed: it must be unregistered before it goes.
    /// Registering a sink twice is StateError; null is InvalidParameter.
    PvResult RegisterEventSink(PvGenEventSink* aSink);
    /// NotFound when the sink is not registered. A call that another thread has already begun may still run when this
    /// returns.
    PvResult UnregisterEventSink(PvGenEventSink* aSink);
    /// Registers a sink that the parameter keeps alive until it is unregistered, also while a call of it runs. Results
    /// as RegisterEventSink.
    PvResult KeepEventSink(std::shared_ptr<PvGenEventSink> aSink);

    /// Expires when the parameter goes with its array: for whoever holds a parameter without holding its array.
    [[nodiscard]] std::weak_ptr<const void> lifetime() const noexcept { return state_; }

protected:
    friend class PvGenParameterArray;
    struct Owner;  ///< what a parameter knows of its array
    PvGenParameter(GenApi::INode& node, const Owner& owner, PvGenType type);

    /// Runs an operation on the node, turns its exception into a result and remembers the text.
    template <class Work>
    PvResult run(Work&& work) const;
    /// The same for an operation that writes, which the array's observer hears of.
    template <class Work>
    PvResult change(Work&& work);

    GenApi::INode* node_;

private:
    struct State;
    void remember(const PvResult& result) const;
    void notify();
    /// The parameter's array is going while the parameter is still in use.
    void forget_event_sinks() noexcept;
    PvResult add_sink(PvGenEventSink* sink, std::shared_ptr<PvGenEventSink> kept);
    template <class Related>
    PvResult list(PvGenParameterList& aList, Related&& related) const;

    const Owner& owner_;
    PvGenType type_;
    std::shared_ptr<State> state_;  // shared only for its lifetime to be watched
};
