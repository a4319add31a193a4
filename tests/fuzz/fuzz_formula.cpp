// Formulas: whatever compiles runs to an end in both kinds of arithmetic, on a stack that it leaves as it found it.
#include <string_view>

#include "sdk/genapi/errors.h"
#include "sdk/genapi/formula.h"
#include "tests/fuzz/input.h"

namespace {

using namespace GenApi;

class Names final : public FormulaNames {
public:
    bool constant(std::string_view name, Number& value) override
    {
        value = Number(2.5);
        return name == "K";
    }
    bool expression(std::string_view name, std::uint32_t& index) override
    {
        index = 0;
        return name == "S";
    }
    bool variable(std::string_view name, std::uint32_t& slot) override
    {
        slot = static_cast<std::uint32_t>(name.size());
        return name.find_first_not_of("ABC") == name.npos;
    }
};

class Scope final : public FormulaScope {
public:
    Number variable(std::uint32_t slot) override
    {
        return slot % 2 == 0 ? Number(static_cast<double>(slot) / 3) : Number(std::int64_t{1} << (slot % 63));
    }
    Number expression(std::uint32_t) override { return std::int64_t{-7}; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const Arithmetic arithmetic : {Arithmetic::integer, Arithmetic::floating}) {
        std::vector<Number> stack(3);
        try {
            Names names;
            const Code code = compile_formula(text, arithmetic, names);
            fuzz::require(!code.instructions.empty() && code.stack_needed > 0);
            for (std::size_t i = 0; i < code.instructions.size(); ++i) {
                const auto operation = code.instructions[i].operation;
                if (operation >= Operation::jump && operation <= Operation::jump_if_true_or_drop) {
                    fuzz::require(code.instructions[i].argument > i &&
                                  code.instructions[i].argument <= code.instructions.size());
                }
            }
            Scope scope;
            static_cast<void>(
                run_formula({code.instructions, code.constants, code.stack_needed}, arithmetic, scope, stack));
        } catch (const EvaluationError& error) {
            fuzz::require(error.what()[0] != '\0');
        }
        fuzz::require(stack.size() == 3);
    }
    return 0;
}
