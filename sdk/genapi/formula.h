// Formulas of converters and Swiss knives: compiled once to code for a small stack machine, then run.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace GenApi {

/// A value while a formula is computed: whole numbers keep their 64 bits as long as nothing forces them to be floats.
struct Number {
    enum class Kind : std::uint8_t { integer, floating };

    constexpr Number() noexcept : i(0), kind(Kind::integer) {}
    constexpr Number(std::int64_t value) noexcept : i(value), kind(Kind::integer) {}  // NOLINT(google-explicit-*)
    constexpr Number(double value) noexcept : d(value), kind(Kind::floating) {}       // NOLINT(google-explicit-*)

    [[nodiscard]] constexpr bool is_integer() const noexcept { return kind == Kind::integer; }
    [[nodiscard]] constexpr double as_double() const noexcept { return is_integer() ? static_cast<double>(i) : d; }
    [[nodiscard]] constexpr bool is_true() const noexcept { return is_integer() ? i != 0 : d != 0; }

    union {
        std::int64_t i;
        double d;
    };
    Kind kind;
};

/// How a formula computes.
enum class Arithmetic : std::uint8_t {
    integer,   ///< division truncates, whole numbers wrap around at 64 bits
    floating,  ///< division gives fractions, whole numbers that do not fit become floats
};

enum class Operation : std::uint8_t {
    push_constant,  ///< argument: index of the constant
    load_variable,  ///< argument: slot of the variable
    call,           ///< argument: index of the named expression
    negate,
    complement,
    add,
    subtract,
    multiply,
    divide,
    remainder,
    power,
    bit_and,
    bit_or,
    bit_xor,
    shift_left,
    shift_right,
    equal,
    not_equal,
    less,
    greater,
    less_equal,
    greater_equal,
    to_bool,
    jump,                   ///< argument: where to
    jump_if_false,          ///< takes the condition off the stack
    jump_if_false_or_drop,  ///< keeps a false value and jumps, drops a true one
    jump_if_true_or_drop,
    sgn,
    neg,
    abs,
    sin,
    cos,
    tan,
    asin,
    acos,
    atan,
    exp,
    ln,
    lg,
    sqrt,
    trunc,
    floor,
    ceil,
    round,
    round_to,  ///< takes the number of decimals too
};

struct Instruction {
    Operation operation;
    std::uint32_t argument = 0;
};

/// Compiled code. Jumps lead forward only, so running it ends.
struct Code {
    std::vector<Instruction> instructions;
    std::vector<Number> constants;
    std::uint32_t stack_needed = 0;
};

/// The names that a formula may use. A name is looked up as a constant, then as an expression, then as a variable.
class FormulaNames {
public:
    virtual ~FormulaNames() = default;
    /// True, and `value` filled, when the name is a constant.
    virtual bool constant(std::string_view name, Number& value) = 0;
    /// True, and `index` filled, when the name is an expression that may be called here.
    virtual bool expression(std::string_view name, std::uint32_t& index) = 0;
    /// True, and `slot` filled, when the name is a variable.
    virtual bool variable(std::string_view name, std::uint32_t& slot) = 0;
};

/// The longest formula, counted in instructions.
inline constexpr std::size_t largest_formula = 50'000;

/// Compiles a formula. Throws EvaluationError that says what is wrong and where.
[[nodiscard]] Code compile_formula(std::string_view text, Arithmetic arithmetic, FormulaNames& names);

/// What running code asks of its surroundings.
class FormulaScope {
public:
    virtual ~FormulaScope() = default;
    /// The value of a variable, asked only when the computation needs it. May run other formulas on the same stack.
    virtual Number variable(std::uint32_t slot) = 0;
    virtual Number expression(std::uint32_t index) = 0;
};

/// Code in the pools of its owner.
struct CodeView {
    std::span<const Instruction> instructions;
    std::span<const Number> constants;
    std::uint32_t stack_needed = 0;
};

/// Runs code. `stack` is shared by nested runs and left as long as it was found; throws EvaluationError for a division
/// by zero, and what the scope throws.
[[nodiscard]] Number run_formula(const CodeView& code, Arithmetic arithmetic, FormulaScope& scope,
                                 std::vector<Number>& stack);

}  // namespace GenApi
