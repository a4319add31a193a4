#include "tools/pvctl/feature_commands.h"

#include <cstdio>
#include <utility>

#include "tools/pvctl/assignments.h"
#include "tools/pvctl/console.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/feature_tree.h"
#include "tools/pvctl/features.h"
#include "tools/pvctl/terminal.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

GetCommand::GetCommand(CLI::App& app)
    : GetCommand(*app.add_subcommand("get", "read features"), std::make_unique<Options>())
{}

GetCommand::GetCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    command.add_option("features", options_->features, "names of features")->required();
    command.add_flag("-b,--bare", options_->bare, "values alone, without names and units");
    command.add_flag("--json", options_->json, "for programs to read, with type, access and limits");
}

int GetCommand::run() const
{
    const auto device = options_->device.connect(PvAccessReadOnly);
    const PvGenParameterArray& features = *device->GetGenParameters();
    std::vector<PvGenParameter*> wanted;
    wanted.reserve(options_->features.size());
    for (const std::string& name : options_->features) {
        wanted.push_back(&feature_named(features, name));
    }
    Json all = Json::object();
    for (const PvGenParameter* feature : wanted) {
        PvString text;
        require(feature->ToString(text));
        if (options_->json) {
            all[name_of(*feature)] = json_of(*feature);
        } else if (options_->bare) {
            std::puts(text.GetAscii());
        } else {
            std::printf("%s = %s\n", name_of(*feature).c_str(), printable(with_unit(*feature, text.str())).c_str());
        }
    }
    if (options_->json) {
        print_json(all);
    }
    return exit_code::success;
}

SetCommand::SetCommand(CLI::App& app)
    : SetCommand(*app.add_subcommand("set", "write features and execute commands"), std::make_unique<Options>())
{}

SetCommand::SetCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    options_->device.add_key(command);
    command.add_option("assignments", options_->assignments, "FEATURE=VALUE, or the name of a command to execute")
        ->required();
    command.add_flag("--json", options_->json, "for programs to read");
}

int SetCommand::run() const
{
    const auto device = options_->device.connect(PvAccessControl);
    const auto assignments = parse_assignments(*device->GetGenParameters(), options_->assignments);
    Json all = Json::object();
    for (const Assignment& assignment : assignments) {
        all[name_of(*assignment.feature)] = carry_out(assignment, !options_->json);
    }
    if (options_->json) {
        print_json(all);
    }
    return exit_code::success;
}

TreeCommand::TreeCommand(CLI::App& app)
    : TreeCommand(*app.add_subcommand("tree", "all features with their values"), std::make_unique<Options>())
{}

TreeCommand::TreeCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    command.add_option("category", options_->category, "only this category and what is in it");
    command.add_option("--visibility", options_->visibility, "up to which features: beginner, expert or guru (guru)")
        ->check(CLI::IsMember({"beginner", "expert", "guru"}));
    command.add_flag("--json", options_->json, "for programs to read, with types and limits");
}

int TreeCommand::run() const
{
    const auto device = options_->device.connect(PvAccessReadOnly);
    const PvGenVisibility visibility = options_->visibility == "beginner" ? PvGenVisibilityBeginner
                                       : options_->visibility == "expert" ? PvGenVisibilityExpert
                                                                          : PvGenVisibilityGuru;
    const FeatureTree tree(*device->GetGenParameters(), visibility, options_->category);
    if (options_->json) {
        Json json;
        {
            const Progress progress("Reading features");
            json = tree.json();
        }
        print_json(json);
        return exit_code::success;
    }
    std::string text;
    {
        const Progress progress("Reading features");
        text = tree.text(output_width());
    }
    std::fputs(text.c_str(), stdout);
    return exit_code::success;
}

}  // namespace pvctl
