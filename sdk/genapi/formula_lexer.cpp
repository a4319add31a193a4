#include "sdk/genapi/formula_lexer.h"

#include <cctype>
#include <string>

#include "sdk/genapi/errors.h"

namespace GenApi {

namespace {

struct BinaryOperator {
    std::string_view text;
    Operation operation;
    int level;
};

// Longer ones first, so that "<=" is not read as "<".
constexpr BinaryOperator binary_operators[] = {
    {"**", Operation::power, level_power},
    {"<>", Operation::not_equal, 7},
    {"!=", Operation::not_equal, 7},
    {"==", Operation::equal, 7},
    {"<=", Operation::less_equal, 8},
    {">=", Operation::greater_equal, 8},
    {"<<", Operation::shift_left, 9},
    {">>", Operation::shift_right, 9},
    {"=", Operation::equal, 7},
    {"<", Operation::less, 8},
    {">", Operation::greater, 8},
    {"*", Operation::multiply, 11},
    {"/", Operation::divide, 11},
    {"%", Operation::remainder, 11},
    {"|", Operation::bit_or, 4},
    {"^", Operation::bit_xor, 5},
    {"&", Operation::bit_and, 6},
};

constexpr bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr bool is_letter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
constexpr bool is_space(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace

void malformed_formula(std::string_view what, std::size_t position)
{
    throw EvaluationError("the formula is malformed: " + std::string(what) + " at character " +
                          std::to_string(position + 1));
}

Lexeme Lexer::next()
{
    while (at_ < text_.size() && is_space(text_[at_])) {
        ++at_;
    }
    if (at_ == text_.size()) {
        return taken(Token::end, 0);
    }
    const char c = text_[at_];
    if (is_digit(c) || (c == '.' && at_ + 1 < text_.size() && is_digit(text_[at_ + 1]))) {
        return number();
    }
    if (is_letter(c)) {
        return taken(Token::name, name_length());
    }
    return symbol();
}

Lexeme Lexer::taken(Token token, std::size_t length)
{
    const Lexeme lexeme{.token = token, .position = at_, .text = text_.substr(at_, length)};
    at_ += length;
    return lexeme;
}

std::size_t Lexer::name_length() const
{
    std::size_t end = at_;
    while (is_letter(at(end)) || is_digit(at(end)) || at(end) == '.') {
        ++end;
    }
    return end - at_;
}

Lexeme Lexer::number()
{
    std::size_t end = at_;
    if (text_[at_] == '0' && (at(at_ + 1) == 'x' || at(at_ + 1) == 'X')) {
        end += 2;
        while (std::isxdigit(static_cast<unsigned char>(at(end))) != 0) {
            ++end;
        }
        return taken(Token::number, end - at_);
    }
    while (is_digit(at(end)) || at(end) == '.') {
        ++end;
    }
    if (at(end) == 'e' || at(end) == 'E') {
        const std::size_t digits = at(end + 1) == '-' || at(end + 1) == '+' ? end + 2 : end + 1;
        if (is_digit(at(digits))) {
            end = digits;
            while (is_digit(at(end))) {
                ++end;
            }
        }
    }
    return taken(Token::number, end - at_);
}

Lexeme Lexer::symbol()
{
    const std::string_view rest = text_.substr(at_);
    if (rest.starts_with("||")) {
        return taken(Token::or_else, 2);
    }
    if (rest.starts_with("&&")) {
        return taken(Token::and_also, 2);
    }
    for (const BinaryOperator& candidate : binary_operators) {
        if (rest.starts_with(candidate.text)) {
            Lexeme lexeme = taken(Token::binary, candidate.text.size());
            lexeme.operation = candidate.operation;
            lexeme.level = candidate.level;
            return lexeme;
        }
    }
    switch (rest.front()) {
    case '(': return taken(Token::open, 1);
    case ')': return taken(Token::close, 1);
    case ',': return taken(Token::comma, 1);
    case '?': return taken(Token::question, 1);
    case ':': return taken(Token::colon, 1);
    case '-': return taken(Token::minus, 1);
    case '+': return taken(Token::plus, 1);
    case '~': return taken(Token::tilde, 1);
    default: malformed_formula("\"" + std::string(1, rest.front()) + "\" is not expected", at_);
    }
}

}  // namespace GenApi
