#include "tools/pvctl/file_command.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "tools/pvctl/console.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/file_name.h"
#include "tools/pvctl/json_output.h"
#include "tools/pvctl/terminal.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

namespace {

/// Shows how far it is.
PvGenFile::Progress shown_on(Progress& progress, const std::string& what)
{
    return [&progress, what](std::int64_t done, std::int64_t all) {
        std::string text = what + ": " + std::to_string(done);
        text +=
            all > 0 ? " of " + std::to_string(all) + " bytes, " + std::to_string(100 * done / all) + " %" : " bytes";
        progress.update(std::move(text));
    };
}

void require_file(const PvResult& result)
{
    if (result.GetCode() == PvResult::Timeout) {
        throw CommandFailure(std::string(result.description()) + "\n--timeout gives the camera more time");
    }
    require(result);
}

}  // namespace

FileCommand::FileCommand(CLI::App& app)
    : FileCommand(*app.add_subcommand("file", "the files that a camera has"), std::make_unique<Options>())
{}

FileCommand::FileCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    command.require_subcommand(1);
    list_ = &add(command, "ls", "list the files with their sizes");
    CLI::App& get = add(command, "get", "store a camera's file on this host");
    get.add_option("name", options_->name, "the camera's file, as ls names it")->required();
    get.add_option("-o,--output", options_->local, "file to write, or a folder (default: the camera's name for it)");
    get_ = &get;
    CLI::App& put = add(command, "put", "send a file of this host to the camera");
    put.add_option("name", options_->name, "the camera's file, as ls names it")->required();
    put.add_option("local", options_->local, "the file to send")->required();
}

CLI::App& FileCommand::add(CLI::App& command, const char* name, const char* what)
{
    CLI::App& added = *command.add_subcommand(name, what);
    options_->device.add(added);
    options_->device.add_key(added);
    added.add_option("--timeout", options_->timeout, "seconds that one operation of the camera may take (default 60)")
        ->check(CLI::Range(1, 3600));
    added.add_flag("--json", options_->json, "for programs to read");
    return added;
}

int FileCommand::run() const
{
    // to be asked about a file, a camera must be told which one
    const auto device = options_->device.connect(PvAccessControl);
    if (list_->parsed()) {
        return list(*device);
    }
    return transfer(*device, get_->parsed() ? PvGenOpenModeRead : PvGenOpenModeWrite);
}

int FileCommand::list(PvDevice& device) const
{
    std::vector<std::string> names;
    require(PvGenFile::GetNames(device.GetGenParameters(), names));
    Json all = Json::array();
    TextTable table({"FILE", "BYTES"});
    for (const std::string& name : names) {
        PvGenFile file;
        std::int64_t size = -1;
        // one that can only be written has no size to speak of
        if (file.Open(device.GetGenParameters(), PvString(name), PvGenOpenModeRead).IsOK()) {
            require(file.GetSize(size));
            require(file.Close());
        }
        table.add({name, size >= 0 ? std::to_string(size) : "-"});
        all.push_back({{"name", name}, {"bytes", size >= 0 ? Json(size) : Json()}});
    }
    if (options_->json) {
        print_json(all);
    } else {
        std::fputs(table.text(output_width()).c_str(), stdout);
    }
    return exit_code::success;
}

int FileCommand::transfer(PvDevice& device, PvGenOpenMode mode) const
{
    const bool reading = mode == PvGenOpenModeRead;
    std::filesystem::path local = path_of(options_->local);
    if (reading && (local.empty() || std::filesystem::is_directory(local))) {
        local /= path_of(options_->name).filename();
    }
    PvGenFile file;
    file.SetOperationTimeout(1000 * options_->timeout);
    std::int64_t bytes = 0;
    const auto begun = std::chrono::steady_clock::now();
    {
        Progress progress((reading ? "Reading " : "Writing ") + options_->name);
        const auto show = shown_on(progress, (reading ? "Reading " : "Writing ") + options_->name);
        file.SetProgress([&](std::int64_t done, std::int64_t all) {
            bytes = done;
            show(done, all);
        });
        require_file(file.Open(device.GetGenParameters(), PvString(options_->name), mode));
        const PvString name(name_of(local));
        require_file(reading ? file.ReadTo(name) : file.WriteFrom(name));
        // the camera may think it over: what it took is good only now
        require_file(file.Close());
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
    if (options_->json) {
        print_json({{"name", options_->name}, {"file", name_of(local)}, {"bytes", bytes}, {"seconds", seconds}});
    } else {
        const std::string from = reading ? options_->name : name_of(local);
        const std::string to = reading ? name_of(local) : options_->name;
        std::printf("%s -> %s, %lld bytes, %.1f s\n", printable(from).c_str(), printable(to).c_str(),
                    static_cast<long long>(bytes), seconds);
    }
    return exit_code::success;
}

}  // namespace pvctl
