// Limits: what a node says itself, else what the node says that has its value.

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <optional>

#include "sdk/genapi/engine.h"
#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
constexpr double infinity = std::numeric_limits<double>::infinity();

Limits integers(std::int64_t min, std::int64_t max, std::int64_t increment = 1) noexcept
{
    Limits limits;
    limits.min.i = min;
    limits.max.i = max;
    limits.increment.i = increment;
    return limits;
}

Limits floats(double min, double max, double increment = 0) noexcept
{
    Limits limits;
    limits.min.d = min;
    limits.max.d = max;
    limits.increment.d = increment;
    return limits;
}

std::int64_t clamped(double value) noexcept
{
    if (const auto whole = truncated_to_integer(value)) {
        return *whole;
    }
    return value > 0 ? highest : lowest;
}

}  // namespace

Limits NodeMap::limits_of(Node& node)
{
    LimitCache* cache = nullptr;
    if (node.kind == Kind::integer || node.kind == Kind::floating) {
        cache = &model_.numbers[node.data].cache;
    } else if (is_formula(node.kind)) {
        cache = &model_.formulas[node.data].cache;
    } else {
        return compute_limits(node);
    }
    if (cache->lasting) {
        return cache->limits;
    }
    if (cache->operation == operation_) {
        passing_ = true;
        return cache->limits;
    }
    if (node.limits_busy) {
        throw EvaluationError("the limits of " + std::string(node.text_name) + " depend on themselves");
    }
    const Evaluation evaluation(*this);
    evaluation.check_depth();
    struct Busy {
        explicit Busy(Node& busy) : node(busy) { node.limits_busy = true; }
        ~Busy() { node.limits_busy = false; }
        Node& node;
    } const busy(node);
    cache->limits = compute_limits(node);
    cache->lasting = evaluation.lasting();
    cache->operation = operation_;
    return cache->limits;
}

Limits NodeMap::compute_limits(Node& node)
{
    if (node.broken) {
        broken(node);
    }
    switch (node.kind) {
    case Kind::integer:
    case Kind::floating: return number_limits(node);
    case Kind::int_reg:
    case Kind::masked_int_reg:
    case Kind::struct_entry:
    case Kind::float_reg: return register_limits(node);
    case Kind::converter:
    case Kind::int_converter: return converter_limits(node);
    case Kind::swiss_knife: return floats(-DBL_MAX, DBL_MAX);
    case Kind::boolean: return integers(0, 1);
    case Kind::enum_entry: return integers(model_.entries[node.data].value, model_.entries[node.data].value);
    default: return integers(lowest, highest);
    }
}

/// A float's limits, rounded inwards.
Limits NodeMap::integer_limits_of(Node& node)
{
    const Limits limits = limits_of(node);
    if (!is_float(node.kind)) {
        return limits;
    }
    return integers(clamped(std::ceil(limits.min.d)), clamped(std::floor(limits.max.d)),
                    std::max<std::int64_t>(1, clamped(std::round(limits.increment.d))));
}

Limits NodeMap::float_limits_of(Node& node)
{
    const Limits limits = limits_of(node);
    if (is_float(node.kind)) {
        return limits;
    }
    // whole steps are not an increment to a float: it is rounded to them
    return floats(static_cast<double>(limits.min.i), static_cast<double>(limits.max.i));
}

Limits NodeMap::number_limits(Node& node)
{
    const NumberData& data = model_.numbers[node.data];
    const bool as_float = node.kind == Kind::floating;
    Limits limits = as_float ? floats(-DBL_MAX, DBL_MAX) : integers(lowest, highest);
    if (!data.min.given || !data.max.given || !data.increment.given) {
        if (const NodeIndex target = current_operand(node).node; target != no_node) {
            limits = as_float ? float_limits_of(at(target)) : integer_limits_of(at(target));
        }
    }
    if (as_float) {
        const auto limit = [this](const Operand& operand, double open, double otherwise) {
            return given_limit(operand, true, open).value_or(Number(otherwise)).as_double();
        };
        limits.min.d = limit(data.min, -infinity, limits.min.d);
        limits.max.d = limit(data.max, infinity, limits.max.d);
        limits.increment.d = limit(data.increment, 0, limits.increment.d);
    } else {
        const auto limit = [this](const Operand& operand, double open, double (*rounding)(double),
                                  std::int64_t otherwise) {
            const Number value = given_limit(operand, false, open).value_or(Number(otherwise));
            return value.is_integer() ? value.i : clamped(rounding(value.d));
        };
        limits.min.i = limit(data.min, -infinity, std::ceil, limits.min.i);
        limits.max.i = limit(data.max, infinity, std::floor, limits.max.i);
        if (limits.max.i < 0 && data.max.node != no_node && has_unsigned_64_bits(at(data.max.node))) {
            limits.max.i = highest;
        }
        limits.increment.i = limit(data.increment, 0, std::round, limits.increment.i);
        limits.increment.i = std::max<std::int64_t>(1, limits.increment.i);
    }
    return limits;
}

/// A limit as the description gives it; `open` is the infinity by which it may say that there is none. What is no
/// finite number otherwise, like the logarithm of a register that holds 0, says nothing about the values that the node
/// takes: it is no limit, and a write must not fail because of it.
std::optional<Number> NodeMap::given_limit(const Operand& operand, bool as_float, double open)
{
    if (!operand.given) {
        return std::nullopt;
    }
    try {
        const Number value = value_of_operand(operand, as_float);
        const bool is_limit = value.is_integer() || std::isfinite(value.d) || value.d == open;
        return is_limit ? std::optional(value) : std::nullopt;
    } catch (const EvaluationError& error) {
        if (error.code() == PvResult::ErrOverflow) {
            return std::nullopt;
        }
        throw;
    }
}

Limits NodeMap::register_limits(Node& node)
{
    const RegisterData& reg = model_.registers[node.data];
    const std::int64_t length = length_of(node);
    if (node.kind == Kind::float_reg) {
        return length == 4 ? floats(-FLT_MAX, FLT_MAX) : floats(-DBL_MAX, DBL_MAX);
    }
    const int width = field_of(node, length).width;
    if (width >= 64) {
        return integers(reg.is_signed ? lowest : 0, highest);
    }
    if (reg.is_signed) {
        const std::int64_t half = std::int64_t{1} << (width - 1);
        return integers(-half, half - 1);
    }
    return integers(0, static_cast<std::int64_t>((std::uint64_t{1} << width) - 1));
}

/// The raw limits as users see them. Where the formula has no finite result for a raw limit, that end is open.
Limits NodeMap::converter_limits(Node& node)
{
    const FormulaData& data = model_.formulas[node.data];
    const bool as_float = node.kind == Kind::converter;
    const Limits open = as_float ? floats(-DBL_MAX, DBL_MAX) : integers(lowest, highest);
    if (data.slope == Slope::varying) {
        return open;
    }
    Node& raw_node = at(data.value.node);
    const Limits raw = limits_of(raw_node);
    const bool raw_float = is_float(raw_node.kind);
    struct End {
        Number value;
        bool known = false;
    };
    const auto converted = [&](Scalar limit) -> End {
        const bool unlimited = raw_float ? std::abs(limit.d) >= DBL_MAX : limit.i == lowest || limit.i == highest;
        if (unlimited) {
            return {};
        }
        try {
            return {run(node, data.from, raw_float ? Number(limit.d) : Number(limit.i)), true};
        } catch (const EvaluationError&) {
            return {};
        }
    };
    End low = converted(raw.min);
    End high = converted(raw.max);
    const bool falling =
        data.slope == Slope::decreasing ||
        (data.slope == Slope::automatic && low.known && high.known && low.value.as_double() > high.value.as_double());
    if (falling) {
        std::swap(low, high);
    } else if (data.slope == Slope::automatic && (!low.known || !high.known)) {
        // with one end only, nothing says which it is
        return open;
    }
    Limits limits = open;
    if (as_float) {
        limits.min.d = low.known ? low.value.as_double() : limits.min.d;
        limits.max.d = high.known ? high.value.as_double() : limits.max.d;
    } else {
        limits.min.i = low.known ? whole(low.value) : limits.min.i;
        limits.max.i = high.known ? whole(high.value) : limits.max.i;
    }
    return limits;
}

}  // namespace GenApi
