// Loading, third step: formulas become code.

#include <algorithm>
#include <optional>

#include "sdk/genapi/linking.h"

namespace GenApi {

namespace {

struct Suffix {
    std::string_view text;
    Aspect aspect;
};

constexpr Suffix suffixes[] = {
    {"Value", Aspect::value},         {"Min", Aspect::min},           {"Max", Aspect::max},
    {"Inc", Aspect::increment},       {"AccessMode", Aspect::access}, {"Visibility", Aspect::visibility},
    {"CachingMode", Aspect::caching},
};

struct SplitName {
    std::string_view base;
    Aspect aspect = Aspect::value;
    std::string_view entry;
};

/// "X.Max" means the maximum of X; "X.Entry.Y" the value of its entry Y.
std::optional<SplitName> split(std::string_view name)
{
    constexpr std::string_view entry = ".Entry.";
    if (const std::size_t at = name.find(entry); at != name.npos) {
        return SplitName{name.substr(0, at), Aspect::entry, name.substr(at + entry.size())};
    }
    const std::size_t dot = name.rfind('.');
    if (dot == name.npos) {
        return std::nullopt;
    }
    for (const Suffix& suffix : suffixes) {
        if (name.substr(dot + 1) == suffix.text) {
            return SplitName{name.substr(0, dot), suffix.aspect, {}};
        }
    }
    return std::nullopt;
}

/// What the formulas of one node may refer to.
class Names final : public FormulaNames {
public:
    Names(Loading& loading, const PendingFormula& pending, std::uint32_t first_expression)
        : loading_(loading), model_(loading.model), pending_(pending), first_expression_(first_expression)
    {
        const FormulaData& data = model_.formulas[model_.nodes[pending.node].data];
        declared_ = data.variables;
    }

    /// The name of the value that is converted; empty for none.
    std::string_view converted;
    bool expressions_allowed = true;

    bool constant(std::string_view name, Number& value) override
    {
        for (const NamedConstant& candidate : pending_.constants) {
            if (candidate.name == name) {
                value = candidate.value;
                return true;
            }
        }
        return false;
    }

    bool expression(std::string_view name, std::uint32_t& index) override
    {
        for (std::size_t i = 0; expressions_allowed && i < pending_.expressions.size(); ++i) {
            if (pending_.expressions[i].name == name) {
                index = first_expression_ + static_cast<std::uint32_t>(i);
                return true;
            }
        }
        return false;
    }

    bool variable(std::string_view name, std::uint32_t& slot) override
    {
        if (!converted.empty() && name == converted) {
            slot = 0;
            return true;
        }
        if (find_declared(name, slot)) {
            use(slot);
            return true;
        }
        const auto parts = split(name);
        std::uint32_t base = 0;
        if (!parts || !find_declared(parts->base, base)) {
            return false;
        }
        Variable derived = model_.variables[base];
        derived.aspect = parts->aspect;
        derived.entry = model_.arena.store(parts->entry);
        slot = static_cast<std::uint32_t>(model_.variables.size());
        model_.variables.push_back(derived);
        use(slot);
        return true;
    }

private:
    bool find_declared(std::string_view name, std::uint32_t& slot) const
    {
        for (std::uint32_t i = declared_.begin; i < declared_.begin + declared_.count; ++i) {
            if (model_.variables[i].name == name) {
                slot = i;
                return true;
            }
        }
        return false;
    }

    void use(std::uint32_t slot)
    {
        const VariableUse use{pending_.node, slot};
        // formulas name the same variable again and again
        const auto& uses = loading_.variable_uses;
        for (std::size_t back = 1; back <= std::min<std::size_t>(uses.size(), 16); ++back) {
            if (uses[uses.size() - back].node == use.node && uses[uses.size() - back].variable == slot) {
                return;
            }
        }
        loading_.variable_uses.push_back(use);
    }

    Loading& loading_;
    Model& model_;
    const PendingFormula& pending_;
    Range declared_;
    std::uint32_t first_expression_;
};

class FormulaLinker {
public:
    explicit FormulaLinker(Loading& loading) : loading_(loading), model_(loading.model) {}

    void run()
    {
        name_aspects();
        for (const PendingFormula& pending : loading_.formulas) {
            if (!model_.nodes[pending.node].broken) {
                compile(pending);
            }
        }
    }

private:
    /// The suffix may stand in the variable's own name already.
    void name_aspects()
    {
        for (Variable& variable : model_.variables) {
            if (const auto parts = split(variable.name)) {
                variable.aspect = parts->aspect;
                variable.entry = parts->entry;
            }
        }
    }

    void compile(const PendingFormula& pending)
    {
        const Node& node = model_.nodes[pending.node];
        FormulaData& data = model_.formulas[node.data];
        const Arithmetic arithmetic = is_float(node.kind) ? Arithmetic::floating : Arithmetic::integer;
        const bool converter = node.kind == Kind::converter || node.kind == Kind::int_converter;
        data.expressions.begin = static_cast<std::uint32_t>(model_.expressions.size());
        data.expressions.count = static_cast<std::uint32_t>(pending.expressions.size());
        model_.expressions.resize(model_.expressions.size() + pending.expressions.size());
        Names names(loading_, pending, data.expressions.begin);
        std::uint32_t line = pending.from.line;
        try {
            names.converted = converter ? "TO" : "";
            data.from = stored(compile_formula(pending.from.text, arithmetic, names));
            if (!pending.to.text.empty()) {
                line = pending.to.line;
                names.converted = "FROM";
                data.to = stored(compile_formula(pending.to.text, arithmetic, names));
            }
            names.expressions_allowed = false;
            names.converted = "";
            for (std::uint32_t i = 0; i < data.expressions.count; ++i) {
                line = pending.expressions[i].line;
                model_.expressions[data.expressions.begin + i] =
                    stored(compile_formula(pending.expressions[i].text, arithmetic, names));
            }
        } catch (const EvaluationError& error) {
            loading_.break_node(pending.node, line, error.what());
        }
    }

    StoredCode stored(const Code& code)
    {
        StoredCode result;
        result.instructions = {static_cast<std::uint32_t>(model_.instructions.size()),
                               static_cast<std::uint32_t>(code.instructions.size())};
        result.constants = {static_cast<std::uint32_t>(model_.constants.size()),
                            static_cast<std::uint32_t>(code.constants.size())};
        result.stack_needed = code.stack_needed;
        model_.instructions.insert(model_.instructions.end(), code.instructions.begin(), code.instructions.end());
        model_.constants.insert(model_.constants.end(), code.constants.begin(), code.constants.end());
        return result;
    }

    Loading& loading_;
    Model& model_;
};

}  // namespace

void link_formulas(Loading& loading) { FormulaLinker(loading).run(); }

}  // namespace GenApi
