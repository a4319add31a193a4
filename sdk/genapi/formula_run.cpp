#include <cmath>
#include <limits>

#include "sdk/genapi/errors.h"
#include "sdk/genapi/formula.h"
#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

/// For bit operators: without the fraction, and the nearest end of the range for what does not fit.
std::int64_t as_bits(Number value) noexcept
{
    if (value.is_integer()) {
        return value.i;
    }
    if (const auto whole = truncated_to_integer(value.d)) {
        return *whole;
    }
    if (std::isnan(value.d)) {
        return 0;
    }
    return value.d > 0 ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
}

std::int64_t wrapped(std::uint64_t bits) noexcept { return static_cast<std::int64_t>(bits); }

constexpr auto unsigned_of(std::int64_t value) noexcept { return static_cast<std::uint64_t>(value); }

std::int64_t shifted_left(std::int64_t value, std::int64_t count) noexcept
{
    return count < 0 || count > 63 ? 0 : wrapped(unsigned_of(value) << count);
}

std::int64_t shifted_right(std::int64_t value, std::int64_t count) noexcept
{
    return count < 0 || count > 63 ? (value < 0 ? -1 : 0) : value >> count;
}

std::int64_t wrapping_power(std::int64_t base, std::int64_t exponent) noexcept
{
    if (exponent < 0) {
        // the true value lies between -1 and 1: only powers of 1 and -1 are whole
        return base == 1 ? 1 : base == -1 ? (exponent % 2 == 0 ? 1 : -1) : 0;
    }
    std::uint64_t result = 1;
    std::uint64_t factor = unsigned_of(base);
    for (auto rest = unsigned_of(exponent); rest != 0; rest >>= 1) {
        if ((rest & 1) != 0) {
            result *= factor;
        }
        factor *= factor;
    }
    return wrapped(result);
}

[[noreturn]] void division_by_zero() { throw EvaluationError("division by zero", PvResult::GenericError); }

Number sum(Number a, Number b, Arithmetic arithmetic) noexcept
{
    if (a.is_integer() && b.is_integer()) {
        std::int64_t result = 0;
        if (!__builtin_add_overflow(a.i, b.i, &result) || arithmetic == Arithmetic::integer) {
            return wrapped(unsigned_of(a.i) + unsigned_of(b.i));
        }
    }
    return a.as_double() + b.as_double();
}

Number difference(Number a, Number b, Arithmetic arithmetic) noexcept
{
    if (a.is_integer() && b.is_integer()) {
        std::int64_t result = 0;
        if (!__builtin_sub_overflow(a.i, b.i, &result) || arithmetic == Arithmetic::integer) {
            return wrapped(unsigned_of(a.i) - unsigned_of(b.i));
        }
    }
    return a.as_double() - b.as_double();
}

Number product(Number a, Number b, Arithmetic arithmetic) noexcept
{
    if (a.is_integer() && b.is_integer()) {
        std::int64_t result = 0;
        if (!__builtin_mul_overflow(a.i, b.i, &result) || arithmetic == Arithmetic::integer) {
            return wrapped(unsigned_of(a.i) * unsigned_of(b.i));
        }
    }
    return a.as_double() * b.as_double();
}

Number quotient(Number a, Number b, Arithmetic arithmetic)
{
    if (!b.is_true()) {
        division_by_zero();
    }
    if (arithmetic == Arithmetic::integer && a.is_integer() && b.is_integer()) {
        return b.i == -1 ? wrapped(0 - unsigned_of(a.i)) : a.i / b.i;
    }
    return a.as_double() / b.as_double();
}

Number remainder_of(Number a, Number b)
{
    if (!b.is_true()) {
        division_by_zero();
    }
    if (a.is_integer() && b.is_integer()) {
        return b.i == -1 ? std::int64_t{0} : a.i % b.i;
    }
    return std::fmod(a.as_double(), b.as_double());
}

Number power_of(Number a, Number b, Arithmetic arithmetic) noexcept
{
    if (a.is_integer() && b.is_integer()) {
        if (arithmetic == Arithmetic::integer) {
            return wrapping_power(a.i, b.i);
        }
        // whole powers that a double holds exactly stay whole, for the bit operators behind them
        constexpr double exact = 9007199254740992.0;
        const double value = std::pow(a.as_double(), b.as_double());
        if (b.i >= 0 && std::abs(value) <= exact) {
            return static_cast<std::int64_t>(value);
        }
        return value;
    }
    return std::pow(a.as_double(), b.as_double());
}

/// Three-way comparison that keeps 64-bit numbers exact; `unordered` when one is not a number.
enum class Order : std::uint8_t { less, equal, greater, unordered };

Order compare(Number a, Number b) noexcept
{
    if (a.is_integer() && b.is_integer()) {
        return a.i < b.i ? Order::less : a.i > b.i ? Order::greater : Order::equal;
    }
    const double x = a.as_double();
    const double y = b.as_double();
    return x < y ? Order::less : x > y ? Order::greater : x == y ? Order::equal : Order::unordered;
}

Number truth(bool value) noexcept { return std::int64_t{value}; }

double rounded_to_decimals(double value, std::int64_t decimals) noexcept
{
    constexpr std::int64_t most = 15;
    const double scale = std::pow(10.0, static_cast<double>(decimals < -most  ? -most
                                                            : decimals > most ? most
                                                                              : decimals));
    const double scaled = value * scale;
    return std::isfinite(scaled) ? std::round(scaled) / scale : value;
}

Number absolute(Number value) noexcept
{
    if (!value.is_integer()) {
        return std::abs(value.d);
    }
    return value.i < 0 ? wrapped(0 - unsigned_of(value.i)) : value.i;
}

Number negated(Number value) noexcept
{
    if (!value.is_integer()) {
        return -value.d;
    }
    return wrapped(0 - unsigned_of(value.i));
}

Number sign_of(Number value) noexcept
{
    const Order order = compare(value, Number(std::int64_t{0}));
    return std::int64_t{order == Order::greater ? 1 : order == Order::less ? -1 : 0};
}

Number binary(Operation operation, Number a, Number b, Arithmetic arithmetic)
{
    switch (operation) {
    case Operation::add: return sum(a, b, arithmetic);
    case Operation::subtract: return difference(a, b, arithmetic);
    case Operation::multiply: return product(a, b, arithmetic);
    case Operation::divide: return quotient(a, b, arithmetic);
    case Operation::remainder: return remainder_of(a, b);
    case Operation::power: return power_of(a, b, arithmetic);
    case Operation::bit_and: return as_bits(a) & as_bits(b);
    case Operation::bit_or: return as_bits(a) | as_bits(b);
    case Operation::bit_xor: return as_bits(a) ^ as_bits(b);
    case Operation::shift_left: return shifted_left(as_bits(a), as_bits(b));
    case Operation::shift_right: return shifted_right(as_bits(a), as_bits(b));
    case Operation::equal: return truth(compare(a, b) == Order::equal);
    case Operation::not_equal: return truth(compare(a, b) != Order::equal);
    case Operation::less: return truth(compare(a, b) == Order::less);
    case Operation::greater: return truth(compare(a, b) == Order::greater);
    case Operation::less_equal: {
        const Order order = compare(a, b);
        return truth(order == Order::less || order == Order::equal);
    }
    case Operation::greater_equal: {
        const Order order = compare(a, b);
        return truth(order == Order::greater || order == Order::equal);
    }
    default: return rounded_to_decimals(a.as_double(), as_bits(b));
    }
}

/// Functions that leave a whole number as it is.
Number whole_or(Number value, double (*function)(double)) noexcept
{
    return value.is_integer() ? value : Number(function(value.d));
}

Number unary(Operation operation, Number value)
{
    switch (operation) {
    case Operation::negate:
    case Operation::neg: return negated(value);
    case Operation::complement: return ~as_bits(value);
    case Operation::to_bool: return truth(value.is_true());
    case Operation::sgn: return sign_of(value);
    case Operation::abs: return absolute(value);
    case Operation::sin: return std::sin(value.as_double());
    case Operation::cos: return std::cos(value.as_double());
    case Operation::tan: return std::tan(value.as_double());
    case Operation::asin: return std::asin(value.as_double());
    case Operation::acos: return std::acos(value.as_double());
    case Operation::atan: return std::atan(value.as_double());
    case Operation::exp: return std::exp(value.as_double());
    case Operation::ln: return std::log(value.as_double());
    case Operation::lg: return std::log10(value.as_double());
    case Operation::sqrt: return std::sqrt(value.as_double());
    case Operation::trunc: return whole_or(value, std::trunc);
    case Operation::floor: return whole_or(value, std::floor);
    case Operation::ceil: return whole_or(value, std::ceil);
    default: return whole_or(value, std::round);
    }
}

/// Gives the stack back, also when a variable cannot be read.
class Frame {
public:
    Frame(std::vector<Number>& stack, std::size_t size) : stack_(stack), base_(stack.size())
    {
        stack_.resize(base_ + size);
    }
    ~Frame() { stack_.resize(base_); }
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    [[nodiscard]] std::size_t base() const noexcept { return base_; }

private:
    std::vector<Number>& stack_;
    std::size_t base_;
};

}  // namespace

Number run_formula(const CodeView& code, Arithmetic arithmetic, FormulaScope& scope, std::vector<Number>& stack)
{
    // nested runs may move the stack, hence indexes into it rather than pointers
    const Frame frame(stack, code.stack_needed + 1);
    std::size_t top = frame.base();  // of the next free place
    const auto push = [&](Number value) { stack[top++] = value; };
    for (std::size_t at = 0; at < code.instructions.size(); ++at) {
        const auto [operation, argument] = code.instructions[at];
        switch (operation) {
        case Operation::push_constant: push(code.constants[argument]); break;
        case Operation::load_variable: push(scope.variable(argument)); break;
        case Operation::call: push(scope.expression(argument)); break;
        case Operation::jump: at = argument - 1; break;
        case Operation::jump_if_false:
            if (!stack[--top].is_true()) {
                at = argument - 1;
            }
            break;
        case Operation::jump_if_false_or_drop:
        case Operation::jump_if_true_or_drop:
            if (stack[top - 1].is_true() == (operation == Operation::jump_if_true_or_drop)) {
                at = argument - 1;
            } else {
                --top;
            }
            break;
        case Operation::negate:
        case Operation::neg:
        case Operation::complement:
        case Operation::to_bool:
        case Operation::sgn:
        case Operation::abs:
        case Operation::sin:
        case Operation::cos:
        case Operation::tan:
        case Operation::asin:
        case Operation::acos:
        case Operation::atan:
        case Operation::exp:
        case Operation::ln:
        case Operation::lg:
        case Operation::sqrt:
        case Operation::trunc:
        case Operation::floor:
        case Operation::ceil:
        case Operation::round: stack[top - 1] = unary(operation, stack[top - 1]); break;
        default:
            --top;
            stack[top - 1] = binary(operation, stack[top - 1], stack[top], arithmetic);
            break;
        }
    }
    return stack[frame.base()];
}

}  // namespace GenApi
