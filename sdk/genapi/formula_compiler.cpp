// From text to code, by operator precedence with stacks of its own: however deep a formula is nested, nothing recurses.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <numbers>
#include <optional>
#include <utility>

#include "sdk/genapi/errors.h"
#include "sdk/genapi/formula.h"
#include "sdk/genapi/formula_lexer.h"
#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

struct Function {
    std::string_view name;
    Operation operation;
};

constexpr Function functions[] = {
    {"SGN", Operation::sgn},     {"NEG", Operation::neg},     {"ABS", Operation::abs},     {"SIN", Operation::sin},
    {"COS", Operation::cos},     {"TAN", Operation::tan},     {"ASIN", Operation::asin},   {"ACOS", Operation::acos},
    {"ATAN", Operation::atan},   {"EXP", Operation::exp},     {"LN", Operation::ln},       {"LG", Operation::lg},
    {"SQRT", Operation::sqrt},   {"TRUNC", Operation::trunc}, {"FLOOR", Operation::floor}, {"CEIL", Operation::ceil},
    {"ROUND", Operation::round},
};

std::string upper_case(std::string_view text)
{
    std::string upper(text);
    for (char& c : upper) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return upper;
}

class Compiler {
public:
    Compiler(std::string_view text, Arithmetic arithmetic, FormulaNames& names)
        : lexer_(text), arithmetic_(arithmetic), names_(names)
    {}

    Code compile()
    {
        current_ = lexer_.next();
        if (current_.token == Token::end) {
            throw EvaluationError("the formula is empty");
        }
        bool operand_wanted = true;
        while (current_.token != Token::end) {
            operand_wanted = operand_wanted ? take_operand() : take_operator();
        }
        if (operand_wanted) {
            malformed_formula("the formula ends too early", current_.position);
        }
        while (!pending_.empty()) {
            if (pending_.back().kind == Pending::Kind::open || pending_.back().kind == Pending::Kind::function) {
                malformed_formula("a parenthesis is not closed", pending_.back().position);
            }
            if (pending_.back().kind == Pending::Kind::question) {
                malformed_formula("the \"?\" has no \":\"", pending_.back().position);
            }
            finish_top();
        }
        return std::move(code_);
    }

private:
    /// An operator that waits for its right operand, or a parenthesis that waits to be closed.
    struct Pending {
        enum class Kind : std::uint8_t { unary, binary, and_also, or_else, question, colon, open, function };
        Kind kind;
        int level = 0;
        Operation operation = Operation::add;
        std::uint32_t patch = 0;  ///< the jump to be completed
        std::uint32_t arguments = 0;
        std::size_t position = 0;
    };

    void advance() { current_ = lexer_.next(); }

    std::uint32_t emit(Operation operation, std::uint32_t argument, int stack_change)
    {
        if (code_.instructions.size() >= largest_formula) {
            throw EvaluationError("the formula is longer than " + std::to_string(largest_formula) + " steps");
        }
        code_.instructions.push_back({operation, argument});
        depth_ += stack_change;
        code_.stack_needed = std::max(code_.stack_needed, static_cast<std::uint32_t>(std::max(depth_, 0)));
        return static_cast<std::uint32_t>(code_.instructions.size() - 1);
    }

    void emit_constant(Number value)
    {
        code_.constants.push_back(value);
        emit(Operation::push_constant, static_cast<std::uint32_t>(code_.constants.size() - 1), +1);
    }

    void complete_jump(std::uint32_t jump)
    {
        code_.instructions[jump].argument = static_cast<std::uint32_t>(code_.instructions.size());
    }

    void push(Pending pending)
    {
        if (pending_.size() >= largest_formula) {
            throw EvaluationError("the formula is nested too deeply");
        }
        pending_.push_back(pending);
    }

    /// True when an operand is still wanted.
    bool take_operand()
    {
        const Lexeme lexeme = current_;
        advance();
        switch (lexeme.token) {
        case Token::minus: return push_unary(Operation::negate, lexeme);
        case Token::tilde: return push_unary(Operation::complement, lexeme);
        case Token::plus: return true;
        case Token::open: push({.kind = Pending::Kind::open, .position = lexeme.position}); return true;
        case Token::number: take_number(lexeme); return false;
        case Token::name: return take_name(lexeme);
        default: malformed_formula("a value is expected", lexeme.position);
        }
    }

    bool push_unary(Operation operation, const Lexeme& lexeme)
    {
        push({.kind = Pending::Kind::unary, .level = level_unary, .operation = operation, .position = lexeme.position});
        return true;
    }

    void take_number(const Lexeme& lexeme)
    {
        // "4.0" is a whole number to an integer formula: otherwise X / 4.0 would not truncate
        if (const auto whole = parse_integer(lexeme.text);
            whole && (arithmetic_ == Arithmetic::integer || lexeme.text.find_first_of(".eE") == lexeme.text.npos ||
                      lexeme.text.starts_with("0x") || lexeme.text.starts_with("0X"))) {
            emit_constant(*whole);
        } else if (const auto value = parse_float(lexeme.text)) {
            emit_constant(*value);
        } else {
            malformed_formula("\"" + std::string(lexeme.text) + "\" is not a number", lexeme.position);
        }
    }

    bool take_name(const Lexeme& lexeme)
    {
        Number value;
        std::uint32_t index = 0;
        if (names_.constant(lexeme.text, value)) {
            emit_constant(value);
            return false;
        }
        if (names_.expression(lexeme.text, index)) {
            emit(Operation::call, index, +1);
            return false;
        }
        if (names_.variable(lexeme.text, index)) {
            emit(Operation::load_variable, index, +1);
            return false;
        }
        const std::string upper = upper_case(lexeme.text);
        if (upper == "PI" || upper == "E") {
            emit_constant(upper == "PI" ? std::numbers::pi : std::numbers::e);
            skip_empty_arguments();
            return false;
        }
        const auto* const function = std::find_if(std::begin(functions), std::end(functions),
                                                  [&](const Function& f) { return f.name == upper; });
        if (function != std::end(functions) && current_.token == Token::open) {
            advance();
            push({.kind = Pending::Kind::function,
                  .operation = function->operation,
                  .arguments = 1,
                  .position = lexeme.position});
            return true;
        }
        malformed_formula("\"" + std::string(lexeme.text) + "\" is neither a variable nor a function", lexeme.position);
    }

    /// PI() and E() are functions without arguments in some descriptions, plain names in others.
    void skip_empty_arguments()
    {
        if (current_.token == Token::open) {
            advance();
            if (current_.token != Token::close) {
                malformed_formula("\")\" is expected", current_.position);
            }
            advance();
        }
    }

    /// True when an operand is wanted next.
    bool take_operator()
    {
        const Lexeme lexeme = current_;
        advance();
        switch (lexeme.token) {
        case Token::binary:
            push_binary(lexeme.operation, lexeme.level, lexeme.operation == Operation::power, lexeme);
            return true;
        case Token::minus: push_binary(Operation::subtract, level_sum, false, lexeme); return true;
        case Token::plus: push_binary(Operation::add, level_sum, false, lexeme); return true;
        case Token::and_also:
        case Token::or_else: push_lazy(lexeme); return true;
        case Token::question: push_question(lexeme); return true;
        case Token::colon: push_colon(lexeme); return true;
        case Token::comma: take_comma(lexeme); return true;
        case Token::close: take_close(lexeme); return false;
        default: malformed_formula("an operator is expected", lexeme.position);
        }
    }

    /// Finishes what binds tighter than an operator of that level, or as tight and to the left.
    void finish_down_to(int level, bool right_associative)
    {
        while (!pending_.empty() && pending_.back().level != 0 &&
               (pending_.back().level > level || (pending_.back().level == level && !right_associative))) {
            finish_top();
        }
    }

    void push_binary(Operation operation, int level, bool right_associative, const Lexeme& lexeme)
    {
        finish_down_to(level, right_associative);
        push({.kind = Pending::Kind::binary, .level = level, .operation = operation, .position = lexeme.position});
    }

    void push_lazy(const Lexeme& lexeme)
    {
        const bool is_and = lexeme.token == Token::and_also;
        const int level = is_and ? level_and : level_or;
        finish_down_to(level, false);
        emit(Operation::to_bool, 0, 0);
        const auto jump = emit(is_and ? Operation::jump_if_false_or_drop : Operation::jump_if_true_or_drop, 0, -1);
        push({.kind = is_and ? Pending::Kind::and_also : Pending::Kind::or_else,
              .level = level,
              .patch = jump,
              .position = lexeme.position});
    }

    void push_question(const Lexeme& lexeme)
    {
        finish_down_to(level_conditional, true);
        const auto jump = emit(Operation::jump_if_false, 0, -1);
        push({.kind = Pending::Kind::question, .patch = jump, .position = lexeme.position});
    }

    void push_colon(const Lexeme& lexeme)
    {
        while (!pending_.empty() && pending_.back().level != 0) {
            finish_top();
        }
        if (pending_.empty() || pending_.back().kind != Pending::Kind::question) {
            malformed_formula("the \":\" has no \"?\"", lexeme.position);
        }
        // only one of the two branches leaves its value on the stack
        const auto jump = emit(Operation::jump, 0, -1);
        complete_jump(pending_.back().patch);
        pending_.back() = {
            .kind = Pending::Kind::colon, .level = level_conditional, .patch = jump, .position = lexeme.position};
    }

    void take_comma(const Lexeme& lexeme)
    {
        finish_to_parenthesis(lexeme);
        Pending& function = pending_.back();
        if (function.kind != Pending::Kind::function || function.operation != Operation::round ||
            function.arguments == 2) {
            malformed_formula("\",\" is not expected", lexeme.position);
        }
        function.arguments = 2;
    }

    void take_close(const Lexeme& lexeme)
    {
        finish_to_parenthesis(lexeme);
        const Pending top = pending_.back();
        pending_.pop_back();
        if (top.kind == Pending::Kind::function) {
            const bool two = top.arguments == 2;
            emit(two ? Operation::round_to : top.operation, 0, two ? -1 : 0);
        }
    }

    void finish_to_parenthesis(const Lexeme& lexeme)
    {
        while (!pending_.empty() && pending_.back().level != 0) {
            finish_top();
        }
        if (!pending_.empty() && pending_.back().kind == Pending::Kind::question) {
            malformed_formula("the \"?\" has no \":\"", pending_.back().position);
        }
        if (pending_.empty()) {
            malformed_formula("\"" + std::string(lexeme.text) + "\" has no opening parenthesis", lexeme.position);
        }
    }

    void finish_top()
    {
        const Pending top = pending_.back();
        pending_.pop_back();
        switch (top.kind) {
        case Pending::Kind::unary: emit(top.operation, 0, 0); break;
        case Pending::Kind::binary: emit(top.operation, 0, -1); break;
        case Pending::Kind::and_also:
        case Pending::Kind::or_else:
            emit(Operation::to_bool, 0, 0);
            complete_jump(top.patch);
            break;
        case Pending::Kind::colon: complete_jump(top.patch); break;
        case Pending::Kind::question:
        case Pending::Kind::open:
        case Pending::Kind::function: break;
        }
    }

    Lexer lexer_;
    Arithmetic arithmetic_;
    FormulaNames& names_;
    Lexeme current_;
    Code code_;
    std::vector<Pending> pending_;
    int depth_ = 0;
};

}  // namespace

Code compile_formula(std::string_view text, Arithmetic arithmetic, FormulaNames& names)
{
    return Compiler(text, arithmetic, names).compile();
}

}  // namespace GenApi
