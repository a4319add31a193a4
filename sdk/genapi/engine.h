// The node map at work. Everything here runs with the node map's lock held, unless it says otherwise.
//
// Values are pulled: a read computes what is not cached, down to the registers, and caches the results on the way up.
// Changes are pushed: a write drops, along the ways found while loading, every cached result that may have changed.
// What depends on something that must not be cached is valid for the running operation only, so that one operation
// sees one consistent state and asks the device for each register once.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "sdk/genapi/bursts.h"
#include "sdk/genapi/changes.h"
#include "sdk/genapi/model.h"

namespace GenApi {

enum class Wish : std::uint8_t { read, write, execute };

class NodeMap final : public INodeMap {
public:
    NodeMap(std::string xml, std::span<const NamedPort> ports, const LoadOptions& options);
    ~NodeMap() override;

    // INodeMap
    [[nodiscard]] const DescriptionInfo& info() const noexcept override { return model_.info; }
    [[nodiscard]] const std::vector<Diagnostic>& diagnostics() const noexcept override { return model_.diagnostics; }
    [[nodiscard]] INode* node(std::string_view name) const noexcept override;
    [[nodiscard]] std::size_t node_count() const noexcept override { return model_.node_count; }
    [[nodiscard]] INode* node_at(std::size_t index) const noexcept override;
    [[nodiscard]] const std::vector<INode*>& features() const noexcept override { return model_.features; }
    [[nodiscard]] const std::vector<INode*>& categories() const noexcept override { return model_.feature_categories; }
    void invalidate_all() override;
    void changed(INode& node) override;
    void poll(std::chrono::milliseconds elapsed) override;
    bool connect_port(std::string_view name, IPort* port) override;
    void attach_chunks(std::span<const Chunk> chunks, ChunkMemory memory) override;
    void detach_chunks() override;
    bool deliver_event(std::uint64_t event_id, std::span<const std::uint8_t> data) override;

    [[nodiscard]] const Model& model() const noexcept { return model_; }
    [[nodiscard]] const EntryData* find_entry(const Node& enumeration, std::string_view symbolic,
                                              NodeIndex* node) const noexcept;
    [[nodiscard]] const EntryData* find_entry(const Node& enumeration, std::int64_t value,
                                              NodeIndex* node) const noexcept;

private:
    friend class Node;  // its requests are made of what is here
    class Operation;
    class Evaluation;
    class Scope;
    class Wordless;

    struct Callback {
        CallbackId id = 0;
        ChangeCallback function;
        std::atomic<bool> removed = false;
    };
    struct Call {
        Node* node = nullptr;
        std::shared_ptr<Callback> callback;
    };

    [[nodiscard]] Node& at(NodeIndex index) noexcept { return model_.nodes[index]; }

    // Operations (engine_operation.cpp)
    void take_lock();
    void give_lock_back() noexcept;
    [[nodiscard]] bool has_news() const noexcept;
    [[noreturn]] static void used_by_its_port();
    void look_around();
    void next_operation() noexcept;
    void forget_operations() noexcept;
    void take_over_deferred();
    [[nodiscard]] std::vector<Call> collect_calls() noexcept;
    static void make(const std::vector<Call>& calls) noexcept;
    void work_off_deferred();
    void watch_ports();
    template <class Work>
    decltype(auto) speaking_of(const Node& node, Wish wish, Work&& work);
    template <class Work>
    decltype(auto) reading(Node& node, ReadMode mode, Work&& work);
    template <class Work>
    decltype(auto) reading_within(Node& node, ReadMode mode, Work&& work);

    // Values (engine_values.cpp)
    [[nodiscard]] Number value_of(Node& node);
    [[nodiscard]] std::int64_t integer_of(Node& node);
    [[nodiscard]] std::int64_t whole(Number value) const;
    [[nodiscard]] Number compute(Node& node);
    [[nodiscard]] Number value_of_operand(const Operand& operand, bool as_float);
    [[nodiscard]] Operand& current_operand(Node& node);
    [[nodiscard]] Number run(const Node& node, const StoredCode& code, Number converted);
    [[nodiscard]] Number value_of_variable(const Variable& variable);
    [[nodiscard]] std::string string_of(Node& node);
    [[nodiscard]] std::int64_t string_length_of(Node& node);
    [[nodiscard]] bool is_true(NodeIndex condition);
    [[noreturn]] void broken(const Node& node) const;

    // Limits (engine_limits.cpp)
    [[nodiscard]] Limits limits_of(Node& node);
    [[nodiscard]] Limits integer_limits_of(Node& node);
    [[nodiscard]] Limits float_limits_of(Node& node);
    [[nodiscard]] Limits compute_limits(Node& node);
    [[nodiscard]] Limits number_limits(Node& node);
    [[nodiscard]] std::optional<Number> given_limit(const Operand& operand, bool as_float, double open);
    [[nodiscard]] Limits converter_limits(Node& node);
    [[nodiscard]] Limits register_limits(Node& node);

    // Registers and ports (engine_registers.cpp)
    [[nodiscard]] std::int64_t address_of(Node& node);
    [[nodiscard]] std::int64_t length_of(Node& node);
    /// The bits that an integer register's value takes, counted from the least significant one.
    struct Field {
        int lsb = 0;
        int width = 0;
    };
    [[nodiscard]] Field field_of(const Node& node, std::int64_t length) const;
    [[nodiscard]] Cell& fetch(Node& node);
    [[nodiscard]] Number decode(Node& node);
    [[nodiscard]] bool is_big_endian(const RegisterData& reg) const noexcept;
    [[nodiscard]] bool can_transfer(const PortData& port) const noexcept;
    void require_transfers(const Node& port_node) const;
    void read_port(const Node& port_node, std::int64_t address, std::span<std::uint8_t> out);
    void write_port(const Node& port_node, std::int64_t address, std::span<const std::uint8_t> bytes);
    void store_register(Node& node, std::span<const std::uint8_t> bytes);
    void store_integer(Node& node, std::int64_t value);
    void store_float(Node& node, double value);
    void fetch_again(Node& node);
    void store_part(Node& node, std::span<const std::uint8_t> bytes);

    // Access (engine_access.cpp)
    [[nodiscard]] AccessMode access_of(Node& node);
    [[nodiscard]] AccessMode compute_access(Node& node);
    [[nodiscard]] AccessMode own_access(Node& node);
    [[nodiscard]] AccessMode register_access(Node& node);
    [[nodiscard]] AccessMode formula_access(Node& node);
    [[nodiscard]] bool has_readable_variables(const Node& node);
    [[nodiscard]] bool has_place(const RegisterData& reg);
    void require(Node& node, Wish wish);
    void require_index(const Node& number);
    [[noreturn]] void refuse(Node& node, Wish wish);
    void refuse_by(const Node& subject, Node& node, Wish wish);
    void refuse_by_condition(const Node& subject, Node& node);
    void refuse_by_lock(const Node& subject, Node& node);
    void refuse_by_formula(const Node& subject, Node& node);
    void refuse_by_place(const Node& subject, Node& node);
    [[nodiscard]] bool locked_by_acquisition(Node& lock);
    [[nodiscard]] bool is_writable_when_idle(Node& readable);

    // Writes (engine_writes.cpp)
    /// What a value is measured against on its way down to the registers.
    enum class Check : std::uint8_t {
        limits,
        registers,  ///< only what registers can hold, up to the next converter
    };
    void set(Node& node, Number value, Check check = Check::limits);
    void set_integer(Node& node, std::int64_t value, Check check);
    void set_float(Node& node, double value, Check check);
    void set_boolean(Node& node, bool value);
    void set_entry(Node& node, NodeIndex entry);
    void set_raw(Node& node, Number value, Check check = Check::limits);
    void set_string(Node& node, std::string_view value);
    void start_command(Node& node);
    [[nodiscard]] bool has_unsigned_64_bits(Node& node);
    void check_integer(Node& node, std::int64_t value);
    void check_float(Node& node, double value);
    void check_errors(Node& node);
    [[nodiscard]] std::int64_t nearest_valid(Node& node, double value);
    [[nodiscard]] NodeIndex nearest_entry(Node& node, double value);
    [[nodiscard]] NodeIndex entry_for(Node& node, std::int64_t value);

    Model model_;
    Changes changes_{model_};
    Bursts bursts_;
    NodeIndex acquisition_lock_ = no_node;
    std::vector<NodeIndex> connected_ports_;

    std::mutex mutex_;
    std::atomic<std::thread::id> owner_;
    std::uint32_t operation_ = 1;
    bool passing_ = false;   ///< what was computed last is valid for this operation only
    bool fresh_ = false;     ///< changes found while fetching are to be told
    bool wordless_ = false;  ///< whether something can be computed is asked, but not why not
    std::uint32_t depth_ = 0;
    std::vector<Number> stack_;
    std::vector<NodeIndex> found_changed_;

    std::unordered_map<NodeIndex, std::vector<std::shared_ptr<Callback>>> callbacks_;
    CallbackId next_callback_ = 1;

    std::mutex deferred_mutex_;  // the innermost lock
    std::vector<NodeIndex> deferred_;
    std::atomic<std::uint32_t> has_deferred_ = 0;  ///< 0 or 1; a number, because a bool cannot be read by modifying it
};

/// Holds the lock for the length of one public operation; makes the callbacks after giving it back.
class NodeMap::Operation {
public:
    enum class Look : std::uint8_t {
        around,  ///< at what happened outside meanwhile: ports that opened or closed, announced changes
        nowhere,
    };

    explicit Operation(NodeMap& map, Look look = Look::around) : map_(map), look_(look)
    {
        map_.take_lock();
        if (look == Look::around) {
            map_.look_around();
        }
    }
    ~Operation()
    {
        if (map_.has_news()) {
            finish_with_news();
        } else {
            map_.give_lock_back();
        }
        // Read-modify-write, so that of this and the one in changed() at least one sees what the other side did: either
        // the news here, or the lock given back there.
        if (map_.has_deferred_.fetch_or(0) != 0) {
            map_.work_off_deferred();
        }
    }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

private:
    void finish_with_news();

    NodeMap& map_;
    Look look_;
};

inline void NodeMap::take_lock()
{
    const auto self = std::this_thread::get_id();
    if (owner_.load(std::memory_order_relaxed) == self) {
        used_by_its_port();
    }
    mutex_.lock();
    owner_.store(self, std::memory_order_relaxed);
    if (++operation_ == 0) {
        forget_operations();
    }
    passing_ = false;
    fresh_ = false;
}

inline void NodeMap::give_lock_back() noexcept
{
    owner_.store(std::thread::id(), std::memory_order_relaxed);
    mutex_.unlock();
}

/// Something is left to be done at the end of an operation.
inline bool NodeMap::has_news() const noexcept
{
    return changes_.has_news() || !found_changed_.empty() || has_deferred_.load(std::memory_order_relaxed) != 0;
}

/// Runs work, and gives the errors that leave it the name of the node that the user asked for.
template <class Work>
decltype(auto) NodeMap::speaking_of(const Node& node, Wish wish, Work&& work)
{
    const auto cannot = [&] {
        constexpr std::string_view verbs[] = {" cannot be read: ", " cannot be written: ", " cannot be executed: "};
        return std::string(node.text_name) + std::string(verbs[static_cast<std::size_t>(wish)]);
    };
    try {
        return work();
    } catch (const PortError& error) {
        throw PortError(error.code(), cannot() + error.what());
    } catch (const EvaluationError& error) {
        throw EvaluationError(cannot() + error.what(), error.code());
    } catch (const ValueError& error) {
        throw ValueError(std::string(node.text_name) + ": " + error.what(), error.code());
    }
}

template <class Work>
decltype(auto) NodeMap::reading(Node& node, ReadMode mode, Work&& work)
{
    const Operation operation(*this);
    return reading_within(node, mode, std::forward<Work>(work));
}

/// The same within an operation that has begun.
template <class Work>
decltype(auto) NodeMap::reading_within(Node& node, ReadMode mode, Work&& work)
{
    require(node, Wish::read);
    return speaking_of(node, Wish::read, [&]() -> decltype(auto) {
        if (mode == ReadMode::fresh) {
            changes_.forget_below(node);
            fresh_ = true;
        }
        return work();
    });
}

/// While this lasts, what cannot be read is told without the reason.
class NodeMap::Wordless {
public:
    explicit Wordless(NodeMap& map) : map_(map), outer_(std::exchange(map.wordless_, true)) {}
    ~Wordless() { map_.wordless_ = outer_; }
    Wordless(const Wordless&) = delete;
    Wordless& operator=(const Wordless&) = delete;

private:
    NodeMap& map_;
    bool outer_;
};

/// One computation on the way down: bounds the depth, finds circles, and tells whether the result may be kept.
class NodeMap::Evaluation {
public:
    explicit Evaluation(NodeMap& map) : map_(map), outer_(std::exchange(map.passing_, false)) { ++map_.depth_; }
    ~Evaluation()
    {
        map_.passing_ = map_.passing_ || outer_;
        --map_.depth_;
    }
    Evaluation(const Evaluation&) = delete;
    Evaluation& operator=(const Evaluation&) = delete;

    void check_depth() const
    {
        constexpr std::uint32_t deepest = 250;
        if (map_.depth_ > deepest) {
            throw EvaluationError("too many nodes depend on each other");
        }
    }
    /// What was computed stays valid until something changes.
    [[nodiscard]] bool lasting() const noexcept { return !map_.passing_; }

private:
    NodeMap& map_;
    bool outer_;
};

}  // namespace GenApi
