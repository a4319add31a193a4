// The words of a formula: numbers, names, operators and brackets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "sdk/genapi/formula.h"

namespace GenApi {

enum class Token : std::uint8_t {
    end,
    number,
    name,
    open,
    close,
    comma,
    question,
    colon,
    or_else,
    and_also,
    binary,  ///< with its Operation and level
    minus,
    plus,
    tilde,
};

/// Levels of precedence, low to high.
inline constexpr int level_conditional = 1;
inline constexpr int level_or = 2;
inline constexpr int level_and = 3;
inline constexpr int level_sum = 10;
inline constexpr int level_power = 12;
inline constexpr int level_unary = 13;

struct Lexeme {
    Token token = Token::end;
    std::size_t position = 0;
    std::string_view text;
    Operation operation = Operation::add;
    int level = 0;
};

/// Throws what is wrong with a formula at a character, counted from 0.
[[noreturn]] void malformed_formula(std::string_view what, std::size_t position);

/// Takes a formula apart, word by word. The text must outlive it and the words.
class Lexer {
public:
    explicit Lexer(std::string_view text) : text_(text) {}

    /// The next word; Token::end at the end and from then on. Throws EvaluationError for what no formula has.
    Lexeme next();

private:
    Lexeme taken(Token token, std::size_t length);
    [[nodiscard]] char at(std::size_t index) const { return index < text_.size() ? text_[index] : '\0'; }
    [[nodiscard]] std::size_t name_length() const;
    Lexeme number();
    Lexeme symbol();

    std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace GenApi
