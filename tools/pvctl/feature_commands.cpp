#include "tools/pvctl/feature_commands.h"

#include <cstdio>
#include <utility>

#include "tools/pvctl/failure.h"
#include "tools/pvctl/feature_tree.h"
#include "tools/pvctl/features.h"
#include "tools/pvctl/terminal.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

namespace {

/// FEATURE=VALUE, or FEATURE alone for a command.
struct Assignment {
    PvGenParameter* feature;
    std::string value;
    bool has_value;
};

Assignment parse(const PvGenParameterArray& features, const std::string& text)
{
    const std::size_t equals = text.find('=');
    PvGenParameter& feature = feature_named(features, text.substr(0, equals));
    const bool has_value = equals != std::string::npos;
    if (!has_value && dynamic_cast<PvGenCommand*>(&feature) == nullptr) {
        throw CommandFailure("\"" + text + "\" is no command; give it a value: " + text + "=VALUE",
                             exit_code::wrong_usage);
    }
    return {&feature, has_value ? text.substr(equals + 1) : "", has_value};
}

/// Writes the value, and tells the one before and the one that the camera has now.
Json carry_out(const Assignment& assignment, bool print)
{
    PvGenParameter& feature = *assignment.feature;
    const std::string name = name_of(feature);
    if (!assignment.has_value) {
        require(static_cast<PvGenCommand&>(feature).Execute());
        if (print) {
            std::printf("%s executed\n", name.c_str());
        }
        return {{"executed", true}};
    }
    std::string text_before;
    require(value_of(feature, text_before));
    const Json before = json_value_of(feature);
    require(feature.FromString(PvString(std::string_view(assignment.value))));
    std::string text_now;
    require(value_of(feature, text_now));
    if (print) {
        const std::string now = with_unit(feature, text_now);
        std::printf("%s = %s (was %s)\n", name.c_str(), printable(now).c_str(), printable(text_before).c_str());
    }
    return {{"value", json_value_of(feature)}, {"before", before}};
}

}  // namespace

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
    std::vector<Assignment> assignments;
    assignments.reserve(options_->assignments.size());
    for (const std::string& text : options_->assignments) {
        assignments.push_back(parse(*device->GetGenParameters(), text));
    }
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
