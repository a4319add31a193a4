#include "tools/pvctl/configuration_commands.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "sdk/lists/PvStringList.h"
#include "sdk/persistence/PvConfigurationReader.h"
#include "sdk/persistence/PvConfigurationWriter.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/file_name.h"
#include "tools/pvctl/terminal.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

namespace {

std::vector<std::string> texts_of(const PvStringList& list)
{
    std::vector<std::string> texts;
    for (std::uint32_t i = 0; i < list.GetSize(); ++i) {
        texts.push_back(list.GetItem(i)->str());
    }
    return texts;
}

void print_lines(const char* begin, const std::vector<std::string>& lines)
{
    for (const std::string& line : lines) {
        std::printf("%s%s\n", begin, printable(line).c_str());
    }
}

/// Restores and gives a line for each setting that could not be.
std::vector<std::string> restore(const std::string& file, std::uint32_t index, PvDevice& device)
{
    const Progress progress("Restoring settings");
    PvConfigurationReader reader;
    PvStringList errors;
    require(reader.Load(PvString(std::string_view(file))));
    reader.SetErrorList(&errors, PvString());
    const PvResult result = reader.Restore(index, &device);
    if (!result.IsOK() && errors.GetSize() == 0) {
        require(result);
    }
    return texts_of(errors);
}

bool is_file(const std::string& place)
{
    std::error_code ignored;
    const std::filesystem::path path = path_of(place);
    return path.has_parent_path() ||
           (std::filesystem::exists(path, ignored) && !std::filesystem::is_directory(path, ignored));
}

}  // namespace

SaveCommand::SaveCommand(CLI::App& app)
    : SaveCommand(*app.add_subcommand("save", "save a camera's settings to a file"), std::make_unique<Options>())
{}

SaveCommand::SaveCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    options_->device.add_key(command);
    command.add_option("file", options_->file, "configuration file to write; an older one is replaced")->required();
    command.add_option("--name", options_->name, "name of the device in the file (none)");
    command.add_flag("--json", options_->json, "for programs to read");
}

int SaveCommand::run() const
{
    const auto device = options_->device.connect(PvAccessControl);
    PvConfigurationWriter writer;
    PvStringList list;
    {
        const Progress progress("Reading settings");
        writer.SetErrorList(&list, PvString());
        require(writer.Store(device.get(), PvString(std::string_view(options_->name))));
    }
    require(writer.Save(PvString(std::string_view(options_->file))));
    const Settings saved = settings_in(options_->file, std::nullopt);
    const std::vector<std::string> skipped = texts_of(list);
    if (options_->json) {
        print_json({{"file", options_->file},
                    {"features", saved.features.size()},
                    {"link", saved.link.size()},
                    {"skipped", skipped}});
        return exit_code::success;
    }
    std::printf("%s, %s\n", printable(options_->file).c_str(),
                settings_text(saved.features.size() + saved.link.size()).c_str());
    print_lines("passed over: ", skipped);
    return exit_code::success;
}

RestoreCommand::RestoreCommand(CLI::App& app)
    : RestoreCommand(*app.add_subcommand("restore", "restore a camera's settings from a file"),
                     std::make_unique<Options>())
{}

RestoreCommand::RestoreCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    options_->device.add_key(command);
    command.add_option("file", options_->file, "configuration file")->required();
    command.add_option("--name", options_->names, "which of the file's devices, by its name; needed for several")
        ->expected(1);
    command.add_flag("--dry-run", options_->dry_run,
                     "only tell what differs; selectors are turned for that, and put back");
    command.add_flag("--json", options_->json, "for programs to read");
}

int RestoreCommand::run() const
{
    const Settings wanted =
        settings_in(options_->file, options_->names.empty() ? std::nullopt : std::optional(options_->names.front()));
    const auto device = options_->device.connect(PvAccessControl);
    // what the file does not have stays as it is
    auto found = differences(wanted, settings_of(*device));
    std::erase_if(found, [](const Difference& difference) { return !difference.first; });
    std::vector<std::string> failures;
    if (!options_->dry_run) {
        failures = restore(options_->file, wanted.index, *device);
    }
    const int code = !failures.empty()                     ? exit_code::failed
                     : options_->dry_run && !found.empty() ? exit_code::differs
                                                           : exit_code::success;
    if (options_->json) {
        print_json({{"restored", !options_->dry_run},
                    {"differences", json_of(found, "wanted", "before")},
                    {"failures", failures}});
        return code;
    }
    std::fputs(text_of(found, "WANTED", "BEFORE").c_str(), stdout);
    std::printf("%s %s%s\n", settings_text(found.size()).c_str(), found.size() == 1 ? "differs" : "differ",
                options_->dry_run ? "; nothing was changed" : "");
    if (!failures.empty()) {
        std::string text = settings_text(failures.size()) + " could not be restored";
        for (const std::string& line : failures) {
            text += "\n  " + printable(line);
        }
        throw CommandFailure(text);
    }
    return code;
}

DiffCommand::DiffCommand(CLI::App& app)
    : DiffCommand(*app.add_subcommand("diff", "what differs between the settings of files and cameras"),
                  std::make_unique<Options>())
{}

DiffCommand::DiffCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    constexpr const char* place =
        "configuration file, or a camera as in other commands; what has a slash, or is the name of a file here, is one";
    command.add_option("first", options_->first, place)->required();
    command.add_option("second", options_->second, place)->required();
    options_->device.add_description(command);
    options_->device.add_key(command);
    command
        .add_option("--name", options_->names,
                    "which of a file's devices, by its name; given twice, one for each of two files")
        ->expected(1)
        ->take_all();
    command.add_flag("--json", options_->json, "for programs to read");
}

Settings DiffCommand::settings(const std::string& place, std::size_t number) const
{
    if (is_file(place)) {
        const auto& names = options_->names;
        return settings_in(place,
                           names.empty() ? std::nullopt : std::optional(names[std::min(number, names.size() - 1)]));
    }
    DeviceOption camera = options_->device;
    camera.name = place;
    return settings_of(*camera.connect(PvAccessControl));
}

int DiffCommand::run() const
{
    if (options_->names.size() > 2) {
        throw CommandFailure("--name can be given twice at the most: two places are compared", exit_code::wrong_usage);
    }
    const Settings first = settings(options_->first, 0);
    const Settings second = settings(options_->second, 1);
    const auto found = differences(first, second);
    if (options_->json) {
        print_json({{"differences", json_of(found, "first", "second")}});
    } else {
        std::fputs(text_of(found, "FIRST", "SECOND").c_str(), stdout);
        std::printf("%s %s\n", settings_text(found.size()).c_str(), found.size() == 1 ? "differs" : "differ");
    }
    return found.empty() ? exit_code::success : exit_code::differs;
}

}  // namespace pvctl
