#include "tools/trace_option/trace_option.h"

#include <map>

using vex::trace::Level;

namespace tools {

void TraceOption::add(CLI::App& app)
{
    constexpr const char* group = "Trace";
    const std::map<std::string, Level> levels{
        {"error", Level::error}, {"warning", Level::warning}, {"info", Level::info}, {"debug", Level::debug}};
    auto* file = app.add_option("--trace", name_,
                                "file that gets what is done step by step, with times, to find the cause of a problem")
                     ->group(group);
    app.add_option("--trace-level", level_, "the least grave of it: error, warning, info or debug (default)")
        ->transform(CLI::CheckedTransformer(levels).description(""))
        ->needs(file)
        ->group(group);
    for (CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        add(*command);
    }
}

PvResult TraceOption::start()
{
    return name_.empty() ? PvResult(PvResult::OK) : file_.open(PvString(std::string(name_)), level_);
}

}  // namespace tools
