// PvGenParameterArray: the parameters of a device, a link or a stream, by name and by index.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/genicam/PvGenBoolean.h"
#include "sdk/genicam/PvGenCategory.h"
#include "sdk/genicam/PvGenCommand.h"
#include "sdk/genicam/PvGenEnum.h"
#include "sdk/genicam/PvGenFloat.h"
#include "sdk/genicam/PvGenInteger.h"
#include "sdk/genicam/PvGenParameter.h"
#include "sdk/genicam/PvGenRegister.h"
#include "sdk/genicam/PvGenString.h"
#include "sdk/genicam/array_gate.h"

class PvBuffer;

namespace GenApi {
class INodeMap;
}

/// The features of a node map, in the order in which the categories list them, starting at Root. Only features with a
/// value or an action are parameters; indexes start at 0.
///
/// Access by name reports NotFound for a name that is none, InvalidParameter for a parameter of another type, and else
/// what the parameter reports.
///
/// Thread safety: every member may be called from any thread.
class PvGenParameterArray {
public:
    /// Takes the node map over. What its ports refer to must outlive the array.
    explicit PvGenParameterArray(std::unique_ptr<GenApi::INodeMap> node_map);
    virtual ~PvGenParameterArray();
    PvGenParameterArray(const PvGenParameterArray&) = delete;
    PvGenParameterArray& operator=(const PvGenParameterArray&) = delete;

    [[nodiscard]] std::uint32_t GetCount() const noexcept;
    [[nodiscard]] std::uint32_t GetCategoryCount() const noexcept;
    /// Null for an array that was not built yet.
    [[nodiscard]] GenApi::INodeMap* GetNodeMap() const noexcept;

    /// Null for an unknown index or name.
    [[nodiscard]] PvGenParameter* Get(std::uint32_t aIndex) const noexcept;
    [[nodiscard]] PvGenParameter* Get(const PvString& aName) const noexcept;
    /// Null for an unknown name and for a parameter of another type.
    [[nodiscard]] PvGenInteger* GetInteger(const PvString& aName) const noexcept;
    [[nodiscard]] PvGenFloat* GetFloat(const PvString& aName) const noexcept;
    [[nodiscard]] PvGenEnum* GetEnum(const PvString& aName) const noexcept;
    [[nodiscard]] PvGenBoolean* GetBoolean(const PvString& aName) const noexcept;
    [[nodiscard]] PvGenCommand* GetCommand(const PvString& aName) const noexcept;
    [[nodiscard]] PvGenString* GetString(const PvString& aName) const noexcept;
    [[nodiscard]] PvGenRegister* GetRegister(const PvString& aName) const noexcept;
    /// Null for an unknown index or name. Root is found by name only.
    [[nodiscard]] PvGenCategory* GetCategory(std::uint32_t aIndex) const noexcept;
    [[nodiscard]] PvGenCategory* GetCategory(const PvString& aName) const noexcept;

    PvResult GetIntegerValue(const PvString& aName, std::int64_t& aValue) const;
    PvResult SetIntegerValue(const PvString& aName, std::int64_t aValue);
    PvResult GetFloatValue(const PvString& aName, double& aValue) const;
    PvResult SetFloatValue(const PvString& aName, double aValue);
    PvResult GetEnumValue(const PvString& aName, PvString& aValue) const;
    PvResult GetEnumValue(const PvString& aName, std::int64_t& aValue) const;
    PvResult SetEnumValue(const PvString& aName, const PvString& aValue);
    PvResult SetEnumValue(const PvString& aName, std::int64_t aValue);
    PvResult GetBooleanValue(const PvString& aName, bool& aValue) const;
    PvResult SetBooleanValue(const PvString& aName, bool aValue);
    PvResult GetString(const PvString& aName, PvString& aValue) const;
    PvResult SetString(const PvString& aName, const PvString& aValue);
    PvResult ExecuteCommand(const PvString& aName);

    /// Forgets every cached value; the next reads go to the device.
    PvResult InvalidateCache();

    /// Shows the chunks of a buffer as features: those that the description places in chunks (ChunkTimestamp and the
    /// like) tell that buffer's values until the chunks of another one are attached or they are detached, and are not
    /// available before and after. Several buffers at once need an array each.
    ///
    /// The chunks are copied, as far as the description knows them: the buffer may be queued, changed or destroyed
    /// right after. May be called from any thread; a feature that another thread reads meanwhile tells the old or the
    /// new buffer's value. The event sinks of features whose value or access changed are called on this thread before
    /// the call returns.
    ///
    /// NoAvailableData for a buffer without chunks, StateError for one that a stream holds: the chunks of an earlier
    /// buffer are detached then, so that its values cannot be taken for this one's. NotInitialized for an array that
    /// was not built yet.
    PvResult AttachChunks(const PvBuffer& aBuffer);
    /// Ends what AttachChunks began; also fine when nothing is attached. NotInitialized as there.
    PvResult DetachChunks();

    /// Lets `observer` hear of every parameter that was written, and every command that was executed, by a member of
    /// this array or its parameters, on the thread that did it and before the member returns. It must not throw. Set it
    /// before anybody else uses the array.
    void SetWriteObserver(std::function<void(PvGenParameter&)> observer);

    /// Expires when the array goes: for whoever holds the array without owning it.
    [[nodiscard]] std::weak_ptr<const void> lifetime() const noexcept { return lifetime_; }
    /// The gate of the parameters that there are now: for threads that cannot know how long they last. It is closed
    /// before they go, when the array is rebuilt, emptied or destroyed. To be asked for where the array may be used.
    [[nodiscard]] std::shared_ptr<vex::genicam::ArrayGate> gate() const noexcept { return gate_; }

protected:
    /// An array without parameters, to be built later.
    PvGenParameterArray();
    /// Replaces node map and parameters; parameters handed out before are gone. Not while another thread uses the
    /// array, except for those behind its gate, who are waited for.
    void build(std::unique_ptr<GenApi::INodeMap> node_map);
    /// Closes the gate and makes the array empty, and calls no event sink. For a derived class whose port, or what its
    /// port uses, goes before the array does.
    void clear() noexcept;

private:
    friend class PvGenFile;
    struct Contents;
    template <class Parameter>
    [[nodiscard]] Parameter* typed(const PvString& aName) const noexcept;
    template <class Work>
    PvResult on_node_map(Work&& work) const;
    template <class Parameter, class Operation>
    PvResult by_name(const PvString& aName, const char* type, Operation&& operation) const;

    /// Closes the gate; what is still in use behind it stays until it is not, without port and event sinks.
    void close_gate(std::shared_ptr<vex::genicam::ArrayGate> next) noexcept;

    std::shared_ptr<Contents> contents_;  ///< shared with the gate while somebody is still behind it
    std::shared_ptr<vex::genicam::ArrayGate> gate_ = std::make_shared<vex::genicam::ArrayGate>();
    /// Held for each step with a file of the device: all its files share the features that such a step sets. An event
    /// sink that a step calls may work with files, too.
    std::recursive_mutex files_;
    std::shared_ptr<const char> lifetime_ = std::make_shared<const char>();
};
