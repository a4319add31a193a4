// Formulas: tokens, precedence, arithmetic and what must be refused.

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>

#include "sdk/genapi/errors.h"
#include "sdk/genapi/formula.h"

namespace {

using GenApi::Arithmetic;
using GenApi::Code;
using GenApi::CodeView;
using GenApi::Number;

/// Variables and constants by name; reading a variable without a value throws.
class Names final : public GenApi::FormulaNames {
public:
    std::vector<std::string> variables;
    std::map<std::string, Number, std::less<>> constants;
    std::vector<std::string> expressions;

    bool constant(std::string_view name, Number& value) override
    {
        const auto found = constants.find(name);
        if (found != constants.end()) {
            value = found->second;
        }
        return found != constants.end();
    }
    bool expression(std::string_view name, std::uint32_t& index) override { return find(expressions, name, index); }
    bool variable(std::string_view name, std::uint32_t& slot) override { return find(variables, name, slot); }

private:
    static bool find(const std::vector<std::string>& list, std::string_view name, std::uint32_t& index)
    {
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (list[i] == name) {
                index = static_cast<std::uint32_t>(i);
                return true;
            }
        }
        return false;
    }
};

class Scope final : public GenApi::FormulaScope {
public:
    std::vector<Number> values;
    int reads = 0;

    Number variable(std::uint32_t slot) override
    {
        ++reads;
        if (slot >= values.size()) {
            throw GenApi::EvaluationError("unreadable");
        }
        return values[slot];
    }
    Number expression(std::uint32_t) override { return std::int64_t{100}; }
};

Number run(std::string_view text, Arithmetic arithmetic, const std::vector<Number>& values = {})
{
    Names names;
    names.variables = {"A", "B", "C", "UNREADABLE"};
    names.constants = {{"K", Number(std::int64_t{7})}};
    names.expressions = {"SUB"};
    const Code code = GenApi::compile_formula(text, arithmetic, names);
    Scope scope;
    scope.values = values;
    std::vector<Number> stack;
    const Number result =
        GenApi::run_formula({code.instructions, code.constants, code.stack_needed}, arithmetic, scope, stack);
    EXPECT_TRUE(stack.empty());
    return result;
}

std::int64_t integer(std::string_view text, const std::vector<Number>& values = {})
{
    const Number result = run(text, Arithmetic::integer, values);
    EXPECT_TRUE(result.is_integer()) << text;
    return result.i;
}

double floating(std::string_view text, const std::vector<Number>& values = {})
{
    return run(text, Arithmetic::floating, values).as_double();
}

std::string refusal(std::string_view text)
{
    try {
        static_cast<void>(integer(text));
    } catch (const GenApi::EvaluationError& error) {
        return error.what();
    }
    return "accepted";
}

struct IntegerCase {
    std::string_view text;
    std::int64_t result;
};

struct FloatCase {
    std::string_view text;
    double result;
};

constexpr std::int64_t i64_min = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t i64_max = std::numeric_limits<std::int64_t>::max();

}  // namespace

class IntegerFormula : public testing::TestWithParam<IntegerCase> {};

TEST_P(IntegerFormula, Gives) { EXPECT_EQ(integer(GetParam().text), GetParam().result) << GetParam().text; }

INSTANTIATE_TEST_SUITE_P(Literals, IntegerFormula,
                         testing::Values(IntegerCase{"0", 0}, IntegerCase{"42", 42}, IntegerCase{"0x1F", 31},
                                         IntegerCase{"0XfF", 255}, IntegerCase{"0xFFFFFFFFFFFFFFFF", -1},
                                         IntegerCase{"9223372036854775808", i64_min}, IntegerCase{"1e3", 1000},
                                         IntegerCase{"4.0", 4}, IntegerCase{" \n\t 7 \r\n", 7}, IntegerCase{"K", 7},
                                         IntegerCase{"SUB", 100}, IntegerCase{"SUB+SUB*K", 800}));

INSTANTIATE_TEST_SUITE_P(Precedence, IntegerFormula,
                         testing::Values(IntegerCase{"2+3*4", 14}, IntegerCase{"(2+3)*4", 20}, IntegerCase{"10-4-3", 3},
                                         IntegerCase{"100/10/5", 2}, IntegerCase{"2**3**2", 512},
                                         IntegerCase{"-2**2", 4}, IntegerCase{"2*-3", -6}, IntegerCase{"2**-1", 0},
                                         IntegerCase{"1**-5", 1}, IntegerCase{"(-1)**-3", -1},
                                         IntegerCase{"1|2^3&1", 1 | (2 ^ (3 & 1))}, IntegerCase{"1<<2+1", 8},
                                         IntegerCase{"1+1<<2", 8}, IntegerCase{"6&3=3", 0 /* 6 & (3=3) */},
                                         IntegerCase{"7&3=3", 1}, IntegerCase{"1<2=1", 1}, IntegerCase{"2>1>0", 1},
                                         IntegerCase{"1||0&&0", 1}, IntegerCase{"(1||0)&&0", 0},
                                         IntegerCase{"0|1&&1", 1}, IntegerCase{"~0", -1}, IntegerCase{"~1+1", -1},
                                         IntegerCase{"--3", 3}, IntegerCase{"-~0", 1}, IntegerCase{"+5", 5},
                                         IntegerCase{"7%4*2", 6}, IntegerCase{"1-2+3", 2}));

INSTANTIATE_TEST_SUITE_P(Conditional, IntegerFormula,
                         testing::Values(IntegerCase{"1?2:3", 2}, IntegerCase{"0?2:3", 3}, IntegerCase{"0?1:0?2:3", 3},
                                         IntegerCase{"0?1:1?2:3", 2}, IntegerCase{"1?0?4:5:6", 5},
                                         IntegerCase{"1?1?4:5:6", 4}, IntegerCase{"(1=1)?((2=3)?10:20):30", 20},
                                         IntegerCase{"1+1=2?5+5:6+6", 10}, IntegerCase{"0?1:2+3", 5},
                                         IntegerCase{"(0?1:2)+3", 5}, IntegerCase{"1||0?7:8", 7}));

INSTANTIATE_TEST_SUITE_P(Comparison, IntegerFormula,
                         testing::Values(IntegerCase{"1=1", 1}, IntegerCase{"1==2", 0}, IntegerCase{"1<>2", 1},
                                         IntegerCase{"1!=1", 0}, IntegerCase{"2<=2", 1}, IntegerCase{"3>=4", 0},
                                         IntegerCase{"-1<0", 1}, IntegerCase{"0x8000000000000000<0", 1}));

INSTANTIATE_TEST_SUITE_P(
    WholeNumbers, IntegerFormula,
    testing::Values(IntegerCase{"7/2", 3}, IntegerCase{"-7/2", -3}, IntegerCase{"7/4.0", 1}, IntegerCase{"-7%3", -1},
                    IntegerCase{"7%-3", 1}, IntegerCase{"0x8000000000000000/-1", i64_min},
                    IntegerCase{"0x8000000000000000%-1", 0}, IntegerCase{"0x7FFFFFFFFFFFFFFF+1", i64_min},
                    IntegerCase{"0x8000000000000000-1", i64_max}, IntegerCase{"0x4000000000000000*2", i64_min},
                    IntegerCase{"1<<63", i64_min}, IntegerCase{"1<<64", 0}, IntegerCase{"1<<-1", 0},
                    IntegerCase{"-8>>1", -4}, IntegerCase{"-8>>64", -1}, IntegerCase{"8>>99", 0},
                    IntegerCase{"2**14", 16384}, IntegerCase{"5&&3", 1}, IntegerCase{"0||4", 1},
                    IntegerCase{"SGN(-3)", -1}, IntegerCase{"neg(4)", -4}, IntegerCase{"Abs(-9)", 9},
                    IntegerCase{"ABS(0x8000000000000000)", i64_min}));

class FloatFormula : public testing::TestWithParam<FloatCase> {};

TEST_P(FloatFormula, Gives) { EXPECT_DOUBLE_EQ(floating(GetParam().text), GetParam().result) << GetParam().text; }

INSTANTIATE_TEST_SUITE_P(
    All, FloatFormula,
    testing::Values(FloatCase{"5/2", 2.5}, FloatCase{"1.5e3", 1500}, FloatCase{".5", 0.5},
                    FloatCase{"2**0.5", std::sqrt(2)}, FloatCase{"2**-1", 0.5}, FloatCase{"PI", std::numbers::pi},
                    FloatCase{"E()", std::numbers::e}, FloatCase{"pi()*2", 2 * std::numbers::pi},
                    FloatCase{"SIN(0)", 0}, FloatCase{"COS(0)", 1}, FloatCase{"TAN(0)", 0},
                    FloatCase{"ASIN(1)", std::numbers::pi / 2}, FloatCase{"ACOS(1)", 0}, FloatCase{"ATAN(0)", 0},
                    FloatCase{"EXP(0)", 1}, FloatCase{"LN(E)", 1}, FloatCase{"LG(1000)", 3}, FloatCase{"SQRT(16)", 4},
                    FloatCase{"TRUNC(-2.7)", -2}, FloatCase{"FLOOR(-2.1)", -3}, FloatCase{"CEIL(2.1)", 3},
                    FloatCase{"ROUND(2.5)", 3}, FloatCase{"ROUND(-2.5)", -3}, FloatCase{"ROUND(3.14159, 2)", 3.14},
                    FloatCase{"ROUND(1234.5, -2)", 1200}, FloatCase{"7%2.5", 2}, FloatCase{"3.7&1", 1},
                    FloatCase{"1.5>1", 1}, FloatCase{"0x7FFFFFFFFFFFFFFF+1", 9223372036854775808.0},
                    FloatCase{"(4294967297<<20)>>20", 4294967297.0}, FloatCase{"1 ? 0.5 : 2", 0.5},
                    FloatCase{"2.0*3=6", 1}, FloatCase{"-1.5", -1.5}, FloatCase{"SGN(-0.5)", -1},
                    FloatCase{"ABS(-0.5)", 0.5}));

TEST(Formula, KeepsSixtyFourBitsInIntegersAlsoWhenItComputesFloats)
{
    // a double would lose the last bits of the variable
    EXPECT_EQ(floating("(A >> 1) & 0xFF", {Number(std::int64_t{0x7FFFFFFFFFFFFF03})}), 0x81);
}

TEST(Formula, DividesByAVariable)
{
    EXPECT_EQ(integer("A/B", {Number(std::int64_t{9}), Number(std::int64_t{2})}), 4);
    EXPECT_DOUBLE_EQ(floating("A/B", {Number(std::int64_t{9}), Number(std::int64_t{2})}), 4.5);
}

TEST(Formula, RefusesToDivideByZero)
{
    EXPECT_THROW(static_cast<void>(integer("1/0")), GenApi::EvaluationError);
    EXPECT_THROW(static_cast<void>(integer("1%0")), GenApi::EvaluationError);
    EXPECT_THROW(static_cast<void>(floating("1/0.0")), GenApi::EvaluationError);
    EXPECT_THROW(static_cast<void>(floating("1%0")), GenApi::EvaluationError);
}

TEST(Formula, LeavesTheBranchThatIsNotTakenAlone)
{
    EXPECT_EQ(integer("0 ? 1/0 : 5"), 5);
    EXPECT_EQ(integer("1 ? 5 : UNREADABLE"), 5);
    EXPECT_EQ(integer("0 && UNREADABLE"), 0);
    EXPECT_EQ(integer("1 || 1/0"), 1);
    EXPECT_EQ(integer("(A = 0) ? 0 : 100 / A", {Number(std::int64_t{0})}), 0);
}

TEST(Formula, ReadsAVariableOnlyWhenItIsNeeded)
{
    Names names;
    names.variables = {"A", "B"};
    const Code code = GenApi::compile_formula("A ? B : 0", Arithmetic::integer, names);
    Scope scope;
    scope.values = {Number(std::int64_t{0}), Number(std::int64_t{1})};
    std::vector<Number> stack;
    static_cast<void>(
        GenApi::run_formula({code.instructions, code.constants, code.stack_needed}, Arithmetic::integer, scope, stack));
    EXPECT_EQ(scope.reads, 1);
}

TEST(Formula, PrefersAVariableToAConstantOfTheSameName)
{
    Names names;
    names.variables = {"E"};
    const Code code = GenApi::compile_formula("E", Arithmetic::integer, names);
    EXPECT_EQ(code.instructions.at(0).operation, GenApi::Operation::load_variable);
}

TEST(Formula, GivesTheStackBackWhenAVariableCannotBeRead)
{
    Names names;
    names.variables = {"A"};
    const Code code = GenApi::compile_formula("1 + (2 * (3 + A))", Arithmetic::integer, names);
    Scope scope;
    std::vector<Number> stack;
    EXPECT_THROW(static_cast<void>(GenApi::run_formula({code.instructions, code.constants, code.stack_needed},
                                                       Arithmetic::integer, scope, stack)),
                 GenApi::EvaluationError);
    EXPECT_TRUE(stack.empty());
}

TEST(Formula, SaysWhatIsMalformedAndWhere)
{
    EXPECT_EQ(refusal(""), "the formula is empty");
    EXPECT_EQ(refusal("1 +"), "the formula is malformed: the formula ends too early at character 4");
    EXPECT_EQ(refusal("(1"), "the formula is malformed: a parenthesis is not closed at character 1");
    EXPECT_EQ(refusal("1)"), "the formula is malformed: \")\" has no opening parenthesis at character 2");
    EXPECT_EQ(refusal("1 2"), "the formula is malformed: an operator is expected at character 3");
    EXPECT_EQ(refusal("1 ? 2"), "the formula is malformed: the \"?\" has no \":\" at character 3");
    EXPECT_EQ(refusal("1 : 2"), "the formula is malformed: the \":\" has no \"?\" at character 3");
    EXPECT_EQ(refusal("(1 ? 2)"), "the formula is malformed: the \"?\" has no \":\" at character 4");
    EXPECT_EQ(refusal("FOO"), "the formula is malformed: \"FOO\" is neither a variable nor a function at character 1");
    EXPECT_EQ(refusal("1.2.3"), "the formula is malformed: \"1.2.3\" is not a number at character 1");
    EXPECT_EQ(refusal("0x"), "the formula is malformed: \"0x\" is not a number at character 1");
    EXPECT_EQ(refusal("1 $ 2"), "the formula is malformed: \"$\" is not expected at character 3");
    EXPECT_EQ(refusal("*1"), "the formula is malformed: a value is expected at character 1");
    EXPECT_EQ(refusal("()"), "the formula is malformed: a value is expected at character 2");
    EXPECT_EQ(refusal("SIN(1,2)"), "the formula is malformed: \",\" is not expected at character 6");
    EXPECT_EQ(refusal("ROUND(1,2,3)"), "the formula is malformed: \",\" is not expected at character 10");
    EXPECT_EQ(refusal("1,2"), "the formula is malformed: \",\" has no opening parenthesis at character 2");
    EXPECT_EQ(refusal("PI(1)"), "the formula is malformed: \")\" is expected at character 4");
}

TEST(Formula, ComputesHoweverDeepItIsNested)
{
    const int depth = 20'000;
    const std::string nested = std::string(depth, '(') + "1" + std::string(depth, ')');
    EXPECT_EQ(integer(nested), 1);
    std::string sums;
    for (int i = 0; i < 10'000; ++i) {
        sums += "1+(";
    }
    sums += "0" + std::string(10'000, ')');
    EXPECT_EQ(integer(sums), 10'000);
    std::string chain;
    for (int i = 0; i < 5'000; ++i) {
        chain += "0?1:";
    }
    EXPECT_EQ(integer(chain + "9"), 9);
}

TEST(Formula, RefusesOneThatIsTooLong)
{
    std::string sum = "1";
    for (std::size_t i = 0; i < GenApi::largest_formula; ++i) {
        sum += "+1";
    }
    EXPECT_NE(refusal(sum).find("longer than"), std::string::npos);
    EXPECT_NE(refusal(std::string(200'000, '-') + "1").find("nested too deeply"), std::string::npos);
}
